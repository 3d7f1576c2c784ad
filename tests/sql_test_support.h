#pragma once
// Test helpers for the SQL generation tests: a project of the SQLite store with
// the attributes of the worked examples, golden statement files, and the typed
// expressions of a query as the engine's pipeline makes them.
//
// The attribute project (type PR, key 5, project key 1):
//   12 Priority    list               items 34 High (rank 1), 35 Medium (rank 2), 36 Low (rank 3)
//   13 Desc        text
//   14 Num         whole number
//   15 Tags        multi-select list  items 34 Red (rank 2), 35 Blue (rank 1), 36 Green (rank 3)
//   16 Weight      real number
//   17 Due         date
//   18 At          time
// The item keys repeat between the two lists, as in the worked examples; each
// item belongs to its own attribute (FIELDID).

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "engine/query_engine.h"
#include "model/query_def.h"
#include "model/typed_complex_expression.h"
#include "model/typed_simple_expression.h"
#include "parser/token.h"
#include "store_fixture.h"

namespace vlq::test {

inline std::string ReadGolden(const std::string& name) {
  std::ifstream in(std::string(VLQ_TEST_DATA_DIR) + "/" + name, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

// Whether a statement is the golden text `name`, byte for byte. With
// VLQ_UPDATE_GOLDEN=1 in the environment the file is written with the
// statement first: regenerate that way, then read the difference.
inline ::testing::AssertionResult MatchesGolden(const std::string& actual, const std::string& name) {
  const char* update = std::getenv("VLQ_UPDATE_GOLDEN");
  if (update && std::string(update) == "1") {
    std::ofstream out(std::string(VLQ_TEST_DATA_DIR) + "/" + name, std::ios::binary | std::ios::trunc);
    out << actual;
  }
  const std::string golden = ReadGolden(name);
  if (actual == golden) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "the statement differs from " << name
                                       << "\n  actual: " << ::testing::PrintToString(actual)
                                       << "\n  golden: " << ::testing::PrintToString(golden);
}

inline void AddWorkedExampleAttributes(const StoreFixture& store) {
  store.AddReqType(5, "PR");
  store.AddAttr(12, 5, "Priority", eADTList);
  store.AddListItem(12, 34, 1, "High");
  store.AddListItem(12, 35, 2, "Medium");
  store.AddListItem(12, 36, 3, "Low");
  store.AddAttr(13, 5, "Desc", eADTText);
  store.AddAttr(14, 5, "Num", eADTWholeNumber);
  store.AddAttr(15, 5, "Tags", eADTMultiSelectList);
  store.AddListItem(15, 34, 2, "Red");
  store.AddListItem(15, 35, 1, "Blue");
  store.AddListItem(15, 36, 3, "Green");
  store.AddAttr(16, 5, "Weight", eADTRealNumber);
  store.AddAttr(17, 5, "Due", eADTDate);
  store.AddAttr(18, 5, "At", eADTTime);
}

// Opens the store's file through a manager of its own, so that each dialect
// gets a project with its own connection properties.
inline std::shared_ptr<Project> OpenAs(const StoreFixture& store, const std::string& dbmsnamecode,
                                       const std::string& schema,
                                       std::shared_ptr<platform::StoreProjectManager>& manager) {
  manager = platform::StoreProjectManager::Create();
  if (!dbmsnamecode.empty()) manager->OverrideConnectionProperty("dbmsnamecode", dbmsnamecode);
  if (!schema.empty()) manager->OverrideConnectionProperty("schema", schema);
  return manager->Open(store.File());
}

// The typed simple expressions of a list, in order, sub-lists included.
inline void CollectSimple(const TypedComplexExpression& expr,
                          std::vector<std::shared_ptr<TypedSimpleExpression>>& out) {
  const auto* tokens = expr.Tokens();
  if (!tokens) return;
  for (const auto& token : *tokens) {
    if (auto simple = token->AsTypedSimpleExpression()) out.push_back(simple);
    if (auto complex = token->AsTypedComplexExpression()) CollectSimple(*complex, out);
  }
}

// A requirement of the fixture's project with a key, type and tag of one level.
inline Requirement Req(long key, long typeKey, long tag) { return Requirement(key, typeKey, LongTag({tag})); }

inline std::vector<long> KeysOf(const Rows& rows) {
  std::vector<long> keys;
  if (!rows.empty()) {
    for (const Variant& cell : rows[0]) keys.push_back(static_cast<long>(cell.Whole()));
  }
  return keys;
}

}  // namespace vlq::test
