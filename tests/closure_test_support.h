#pragma once
// Helpers of the relationship and closure tests.
//
// RecordingProject wraps an open project of the store and hands out a
// DataServices that passes every statement on to the real SQLite file and
// keeps a record of it (text, rows changed, whether it failed), so that a test
// can check the statements a closure sends, their order and what they did.
//
// BindRequirementQuery and AddRelationship drive a QuerySql as the engine's
// pipeline does for a query with a base section: the relationship section is
// typed, then each destination's criteria section.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "forwarding_project.h"
#include "model/typed_comp_rel_expression.h"
#include "model/typed_complex_expression.h"
#include "parser/complex_expression.h"
#include "sql/query_sql.h"
#include "sql_test_support.h"
#include "store_fixture.h"

namespace vlq::test {

struct RecordedStatement {
  std::string sql;
  long rows = 0;
  bool failed = false;
  std::string error;  // the failure's description when it failed
};

class RecordingDataServices : public DataServices {
 public:
  explicit RecordingDataServices(std::shared_ptr<DataServices> inner) : inner_(std::move(inner)) {}

  std::shared_ptr<ResultSet> Execute(std::string_view sql, long& lRowsAffected) override {
    Statements.push_back({std::string(sql), 0, false, {}});
    try {
      auto rs = inner_->Execute(sql, lRowsAffected);
      Statements.back().rows = lRowsAffected;
      return rs;
    } catch (const std::exception& e) {
      Statements.back().failed = true;
      Statements.back().error = e.what();
      throw;
    } catch (...) {
      Statements.back().failed = true;
      throw;
    }
  }
  std::string ConnectionProperty(std::string_view name) override { return inner_->ConnectionProperty(name); }
  std::string ConnectionAttribute(std::string_view name) override { return inner_->ConnectionAttribute(name); }
  std::vector<SchemaColumn> OpenSchema(int kind) override { return inner_->OpenSchema(kind); }

  std::vector<RecordedStatement> Statements;

 private:
  std::shared_ptr<DataServices> inner_;
};

class RecordingProject : public ForwardingProject {
 public:
  using ForwardingProject::ForwardingProject;

  std::shared_ptr<DataServices> GetDataServices(std::string_view connectionKey) override {
    if (!recorder_) {
      auto inner = Inner()->GetDataServices(connectionKey);
      if (!inner) return nullptr;
      recorder_ = std::make_shared<RecordingDataServices>(std::move(inner));
    }
    return recorder_;
  }

  // The statements sent so far (none before the first GetDataServices).
  std::vector<RecordedStatement>& Statements() {
    static std::vector<RecordedStatement> none;
    return recorder_ ? recorder_->Statements : none;
  }

 private:
  std::shared_ptr<RecordingDataServices> recorder_;
};

// A statement without the schema before its table names, which a project on
// the tests' server has (its schema is PgSchema's vlqt_...): so the
// statements of both stores read alike.
inline std::string Unqualified(std::string sql) {
  for (std::size_t at = sql.find("vlqt_"); at != std::string::npos; at = sql.find("vlqt_", at)) {
    const std::size_t dot = sql.find('.', at);
    if (dot == std::string::npos) break;
    sql.erase(at, dot + 1 - at);
  }
  return sql;
}

// One whole number from the project file, e.g. a COUNT(*).
inline long ScalarOf(const StoreFixture& store, const std::string& sql) {
  sqlite3_stmt* stmt = nullptr;
  if (sqlite3_prepare_v2(store.Db(), sql.c_str(), -1, &stmt, nullptr) != SQLITE_OK) {
    ADD_FAILURE() << sqlite3_errmsg(store.Db()) << " in " << sql;
    return -1;
  }
  long value = -1;
  if (sqlite3_step(stmt) == SQLITE_ROW) value = static_cast<long>(sqlite3_column_int64(stmt, 0));
  sqlite3_finalize(stmt);
  return value;
}

// One whole number read through a project's own database access: the work
// tables of the closure and the tree order are the connection's own, so they
// are seen only there.
inline long ScalarOf(Project& project, const std::string& sql) {
  // A recording decorator would record the reading too: read past it.
  if (auto* forwarding = dynamic_cast<ForwardingProject*>(&project)) return ScalarOf(*forwarding->Inner(), sql);
  auto data = project.GetDataServices("");
  if (!data) {
    ADD_FAILURE() << "the project has no database access";
    return -1;
  }
  long changed = 0;
  const Rows rows = data->Execute(sql, changed)->GetRows();
  if (rows.empty() || rows[0].empty() || !rows[0][0].IsWhole()) return -1;
  return static_cast<long>(rows[0][0].Whole());
}

// Makes every INSERT into a work table of the project's connection fail from
// now on (a temporary trigger of the connection): a failing statement of the
// closure or the tree order on a real file.
inline void FailInsertsInto(Project& project, const std::string& table) {
  long changed = 0;
  project.GetDataServices("")->Execute("CREATE TEMP TRIGGER VLFAIL_" + table + " BEFORE INSERT ON " + table +
                                           " BEGIN SELECT RAISE(ABORT, 'injected failure'); END",
                                       changed);
}

// The rows of every work table, as the project's connection sees them.
inline long WorkTableRows(Project& project) {
  return ScalarOf(project,
                  "SELECT (SELECT COUNT(*) FROM VLTRACETABLEINDIR) + (SELECT COUNT(*) FROM VLTRACETABLETEMP) + "
                  "(SELECT COUNT(*) FROM VLHIERARCHYTABLETEMP) + (SELECT COUNT(*) FROM VLHIERARCHYORDEREDLEVELSTEMP) "
                  "+ (SELECT COUNT(*) FROM VLHIERARCHYFINALORDERTEMP)");
}

// Binds sql to project for a requirement query on the base type sBaseType.
inline void BindRequirementQuery(QuerySql& sql, const std::shared_ptr<Project>& project,
                                 const std::string& sBaseType = "PR") {
  sql.Reset();
  sql.BaseProject(project);
  sql.QueryReturnType(eBTRequirements);
  sql.LookupType(eQLTByPrefix);
  sql.ReqQueryScope(eVLSReqType);
  std::string info;
  ASSERT_EQ(sql.ResolveBaseProjStructSpecifier(sBaseType, info), eQEENone) << info;
}

// Types the relationship section sRel and the criteria of its destinations
// (destination prefix, criteria text) on a bound builder; gives the new filter.
inline std::shared_ptr<TypedCompRelExpression> AddRelationship(
    QuerySql& sql, std::string_view sRel, const std::vector<std::pair<std::string, std::string>>& destCriteria = {}) {
  auto parsed = std::make_shared<ComplexExpression>();
  EXPECT_TRUE(parsed->Tokenize(sRel)) << parsed->LastTokenizeErrInfo();
  bool stopOnErr = true;
  std::string info;
  Collection<ProjStructSpecifier> destinations;
  const auto result = sql.AddTypedCompRelExpression(stopOnErr, parsed, sql.BaseProjStruSpec(), destinations, info);
  EXPECT_EQ(result, eQEENone) << info;
  if (result != eQEENone) return nullptr;
  const auto rel = *sql.TypedCompRelExprs().Item(sql.TypedCompRelExprs().Count());
  for (const auto& [prefix, criteria] : destCriteria) {
    const ProjStructSpecifier* dest = nullptr;
    for (const ProjStructSpecifier& candidate : rel->DestProjStruSpecs()) {
      if (candidate.StructPrefix() == prefix) dest = &candidate;
    }
    EXPECT_NE(dest, nullptr) << prefix;
    if (!dest) continue;
    auto expr = std::make_shared<ComplexExpression>();
    EXPECT_TRUE(expr->Tokenize(criteria)) << expr->LastTokenizeErrInfo();
    auto typed = std::make_shared<TypedComplexExpression>();
    typed->SetComplexExpression(expr);
    typed->SetBaseType(eBTRequirements);
    typed->SetProjStruSpec(*dest);
    EXPECT_EQ(typed->ResolveForType(true, sql.BaseProject(), eQLTByPrefix, eVLSReqType, info), eQEENone) << info;
    EXPECT_EQ(rel->AddTypedComplexExpression(typed, dest, info), eQEENone) << info;
  }
  return rel;
}

// Replaces the session id, wherever it stands as a whole number in a
// statement, by 123, the id that the expected texts are written for. A random
// id of fewer than four digits could be mistaken for another number: the
// caller draws a new one then (IsDistinctSessionId).
inline bool IsDistinctSessionId(long sessionId) { return sessionId >= 1000; }

inline std::string WithSession123(const std::string& text, long sessionId) {
  const std::string id = std::to_string(sessionId);
  const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  std::string out;
  std::size_t at = 0;
  while (at < text.size()) {
    const bool boundaryBefore = at == 0 || !isDigit(text[at - 1]);
    if (boundaryBefore && text.compare(at, id.size(), id) == 0 &&
        (at + id.size() == text.size() || !isDigit(text[at + id.size()]))) {
      out += "123";
      at += id.size();
    } else {
      out += text[at++];
    }
  }
  return out;
}

// The world of the worked examples: project key 1, requirement types PR (key
// 5) and SR (key 7); SR has the list attribute Priority (key 21) with the
// items High (key 8) and Low (key 9).
inline void AddWorkedRelationshipTypes(const StoreFixture& store) {
  store.AddReqType(5, "PR");
  store.AddReqType(7, "SR");
  store.AddAttr(21, 7, "Priority", eADTList);
  store.AddListItem(21, 8, 1, "High");
  store.AddListItem(21, 9, 2, "Low");
}

}  // namespace vlq::test
