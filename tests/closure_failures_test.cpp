// How relationship filters and the closure meet failures: a criterion too
// complex for ALL, work tables that are missing, a builder without project,
// and the logging of the closure's statements.
#include <gtest/gtest.h>

#include <mutex>

#include "closure_test_support.h"
#include "components_test_support.h"
#include "engine/mod_main.h"
#include "platform/event_logs.h"

namespace vlq {
namespace {

const std::string kIndirectToSR = "TRACED-TO In SR AND DIRECT-ONLY = \"FALSE\"";

// PR 1 -> SR 2 directly, PR 3 -> MR 4 -> SR 2 over one step.
class ClosureFailures : public ::testing::Test {
 protected:
  void SetUp() override {
    test::AddWorkedRelationshipTypes(store_);
    store_.AddReqType(8, "MR");
    store_.AddRequirement(1, 5, test::LongTag({1}));
    store_.AddRequirement(2, 7, test::LongTag({2}));
    store_.AddRequirement(3, 5, test::LongTag({3}));
    store_.AddRequirement(4, 8, test::LongTag({4}));
    store_.ChooseItem(2, 21, 8);
    store_.AddTrace(1, 2);
    store_.AddTrace(3, 4);
    store_.AddTrace(4, 2);
    project_ = std::make_shared<test::RecordingProject>(store_.Open());
  }

  test::StoreFixture store_;
  std::shared_ptr<test::RecordingProject> project_;
};

// The ALL terms of a criterion, each negated, with the connectors between the
// terms that stay; a plain term goes with the connector in front of it.
TEST_F(ClosureFailures, NegatedAllCriterionKeepsTheAllTermsOnly) {
  const struct {
    const char* criteria;
    std::vector<enumTokenType> shape;
    std::vector<bool> nots;  // ExprNot of the terms, in order
  } rows[] = {
      {"Priority All = High", {eTTTypedExpression}, {true}},
      {"NOT Priority All = High", {eTTTypedExpression}, {false}},
      {"Priority All = High AND Priority = Low", {eTTTypedExpression}, {true}},
      {"Priority = Low OR Priority All = High", {eTTTypedExpression}, {true}},
      {"Priority All = High OR Priority = Low AND Priority All In Low, High",
       {eTTTypedExpression, eTTAndConnector, eTTTypedExpression},
       {true, true}},
      {"Priority All = High OR Priority All = Low", {eTTTypedExpression, eTTOrConnector, eTTTypedExpression},
       {true, true}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.criteria);
    QuerySql sql;
    test::BindRequirementQuery(sql, project_);
    auto rel = test::AddRelationship(sql, "TRACED-TO In SR", {{"SR", row.criteria}});
    ASSERT_TRUE(rel);
    std::shared_ptr<TypedComplexExpression> notAll;
    std::string info;
    ASSERT_EQ(sql.MakeNotAllTCExpr(*rel->TypedComplexExpressions().Item(1), notAll, info), eQEENone) << info;
    ASSERT_TRUE(notAll && notAll->Tokens());
    std::vector<enumTokenType> shape;
    std::vector<bool> nots;
    for (const auto& token : *notAll->Tokens()) {
      shape.push_back(token->TokenType());
      if (auto simple = token->AsTypedSimpleExpression()) {
        nots.push_back(simple->ExprNot());
        EXPECT_EQ(simple->AttrKey(), "21");
      }
    }
    EXPECT_EQ(shape, row.shape);
    EXPECT_EQ(nots, row.nots);
    EXPECT_EQ(notAll->AttrKeys().Count(), 1U);
  }
}

TEST_F(ClosureFailures, AllInsideParenthesesIsTooComplex) {
  QueryEngine engine;
  std::string info;
  std::shared_ptr<QueryDef> def;
  EXPECT_EQ(engine.Validate(eBTRequirements, eQLTByPrefix, project_,
                            "ReqType.Prefix(PR) PR.RelCriteria(TRACED-TO In SR) "
                            "SR.Criteria(Priority All = High AND ( Priority = Low))",
                            info, def),
            eQEERelCritAllTooComplex);
  EXPECT_EQ(info, modMain::Message(14041));
  // Without ALL, parentheses are no problem.
  EXPECT_EQ(engine.Validate(eBTRequirements, eQLTByPrefix, project_,
                            "ReqType.Prefix(PR) PR.RelCriteria(TRACED-TO In SR) "
                            "SR.Criteria(Priority = High AND ( Priority = Low))",
                            info, def),
            eQEENone)
      << info;
}

TEST_F(ClosureFailures, DumpOnAFreshBuilderSendsNothing) {
  QuerySql sql;
  std::string info = "untouched";
  EXPECT_EQ(sql.DumpSessionIndirTraceRecords(123456, info), eQEENone);
  EXPECT_EQ(info, "untouched");
}

TEST_F(ClosureFailures, DumpWithoutProjectAfterAClosure) {
  QuerySql sql;
  test::BindRequirementQuery(sql, project_);
  auto rel = test::AddRelationship(sql, kIndirectToSR);
  ASSERT_TRUE(rel);
  std::string info;
  ASSERT_EQ(sql.BuildTransClosure(*rel, info), eQEENone) << info;
  sql.BaseProject(nullptr);
  EXPECT_EQ(sql.DumpSessionIndirTraceRecords(rel->SessionID(), info), eQEEProjectNothing);
  EXPECT_EQ(info, modMain::Message(14024));
  // The rows stay in the tables for good.
  EXPECT_GT(test::WorkTableRows(*project_), 0);
}

// A statement of the closure that fails leaves the filter without a true
// answer: Fetch raises the failure instead of answering from the direct hits,
// and removes what the closure wrote.
TEST_F(ClosureFailures, AFailingLevelRaisesAndLeavesNoRows) {
  test::FailInsertsInto(*project_, "VLTRACETABLETEMP");
  QueryEngine engine;
  std::string info;
  Rows rows;
  std::shared_ptr<QueryDef> def;
  EXPECT_THROW(engine.Fetch(eBTRequirements, eQLTByPrefix, project_,
                            "ReqType.Prefix(PR) PR.RelCriteria(" + kIndirectToSR + ")", info, rows, def),
               Failure);
  EXPECT_TRUE(rows.empty());
  const auto& sent = project_->Statements();
  // the trigger, the hits, the first level (which fails and ends the
  // walk), two deletes
  ASSERT_EQ(sent.size(), 5U);
  EXPECT_FALSE(sent[1].failed);
  EXPECT_TRUE(sent[2].failed);
  EXPECT_EQ(sent[3].sql.rfind("DELETE", 0), 0U);
  EXPECT_EQ(test::WorkTableRows(*project_), 0);
}

// The last statement, the roots of the chains, fails (PR 3 reaches SR 2 over
// MR 4 only): the direct hits alone would be a partial answer.
TEST_F(ClosureFailures, AFailingLastStatementRaises) {
  long changed = 0;
  project_->GetDataServices("")->Execute(
      "CREATE TEMP TRIGGER VLFAIL_ROOTS BEFORE INSERT ON VLTRACETABLEINDIR WHEN NEW.ID = 3 "
      "BEGIN SELECT RAISE(ABORT, 'injected failure'); END",
      changed);
  QueryEngine engine;
  std::string info;
  Rows rows;
  std::shared_ptr<QueryDef> def;
  EXPECT_THROW(engine.Fetch(eBTRequirements, eQLTByPrefix, project_,
                            "ReqType.Prefix(PR) PR.RelCriteria(" + kIndirectToSR + ")", info, rows, def),
               Failure);
  EXPECT_TRUE(rows.empty());
  EXPECT_EQ(test::WorkTableRows(*project_), 0);
  // Without the failure the answer holds both.
  project_->GetDataServices("")->Execute("DROP TRIGGER VLFAIL_ROOTS", changed);
  ASSERT_EQ(engine.Fetch(eBTRequirements, eQLTByPrefix, project_,
                         "ReqType.Prefix(PR) PR.RelCriteria(" + kIndirectToSR + ")", info, rows, def),
            eQEENone)
      << info;
  EXPECT_EQ(test::KeysOf(rows), (std::vector<long>{1, 3}));
}

TEST_F(ClosureFailures, AFailingFirstStatementRaises) {
  test::FailInsertsInto(*project_, "VLTRACETABLEINDIR");
  QueryEngine engine;
  std::string info;
  Rows rows;
  std::shared_ptr<QueryDef> def;
  try {
    engine.Fetch(eBTRequirements, eQLTByPrefix, project_, "ReqType.Prefix(PR) PR.RelCriteria(" + kIndirectToSR + ")",
                 info, rows, def);
    ADD_FAILURE() << "Fetch did not raise";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.Source(), "QueryEngine.Fetch");
  }
  // Nothing was written, nothing is run or deleted after the failure.
  const auto& sent = project_->Statements();
  ASSERT_EQ(sent.size(), 2U);  // the trigger, the hits
  EXPECT_TRUE(sent[1].failed);
  EXPECT_EQ(test::WorkTableRows(*project_), 0);
}

TEST_F(ClosureFailures, ValidateAndBuildLeaveNoRows) {
  QueryEngine engine;
  std::string info;
  std::shared_ptr<QueryDef> def;
  const std::string query = "ReqType.Prefix(PR) PR.RelCriteria(" + kIndirectToSR + ")";
  ASSERT_EQ(engine.Validate(eBTRequirements, eQLTByPrefix, project_, query, info, def), eQEENone) << info;
  EXPECT_EQ(test::WorkTableRows(*project_), 0);
  ASSERT_EQ(engine.Build(eBTRequirements, eQLTByPrefix, project_, query, info, def), eQEENone) << info;
  EXPECT_EQ(test::WorkTableRows(*project_), 0);
  // Both built the closure (a level with rows, one without) and deleted it.
  long deletes = 0;
  for (const auto& statement : project_->Statements()) deletes += statement.sql.rfind("DELETE", 0) == 0 ? 1 : 0;
  EXPECT_EQ(deletes, 4);
}

class ClosureLogging : public ClosureFailures {
 protected:
  void SetUp() override {
    ClosureFailures::SetUp();
    ComponentFactories factories = DefaultComponentFactories();
    factories.eventLog = [this] {
      return std::make_shared<platform::CallbackEventLog>([this](std::string_view text, EventType) {
        std::lock_guard lock(mutex_);
        events_.emplace_back(text);
      });
    };
    InstallComponentFactories(factories);
    config_.WriteFile("VlQueryEngine/settings.ini", "[Output]\nMode=1\n");
    modMain::ReadOutputMode();
  }
  void TearDown() override {
    std::filesystem::remove(config_.Path() / "VlQueryEngine" / "settings.ini");
    modMain::ReadOutputMode();
    InstallComponentFactories(DefaultComponentFactories());
  }

  testing_support::TempDir config_;
  testing_support::ScopedEnv xdg_{"XDG_CONFIG_HOME", config_.Path().string()};
  std::mutex mutex_;
  std::vector<std::string> events_;
};

// The closure's INSERT statements are logged as they are sent; its DELETE
// statements are not.
TEST_F(ClosureLogging, InsertsAreLoggedAndDeletesAreNot) {
  ASSERT_TRUE(modMain::LoggingOn());
  QuerySql sql;
  test::BindRequirementQuery(sql, project_);
  auto rel = test::AddRelationship(sql, kIndirectToSR);
  ASSERT_TRUE(rel);
  std::string info;
  ASSERT_EQ(sql.BuildTransClosure(*rel, info), eQEENone) << info;
  ASSERT_EQ(sql.DumpSessionIndirTraceRecords(rel->SessionID(), info), eQEENone) << info;

  std::vector<std::string> logged;
  {
    std::lock_guard lock(mutex_);
    for (const std::string& event : events_) {
      if (event.rfind("ANSI SQL query submitted:  ", 0) == 0) logged.push_back(event.substr(27));
    }
  }
  const auto& sent = project_->Statements();
  // hits, level 1 (3 -> 4), level 2 (3 -> 2), level 3 (nothing), roots, two deletes
  ASSERT_EQ(sent.size(), 7U);
  ASSERT_EQ(logged.size(), 5U);
  for (std::size_t i = 0; i < logged.size(); ++i) EXPECT_EQ(logged[i], sent[i].sql);
}

}  // namespace
}  // namespace vlq
