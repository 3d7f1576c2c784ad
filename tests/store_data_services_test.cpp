// DataServices on SQLite: one statement per call, rows and NULLs, failures,
// affected rows, the schema rowset and two connections on one file.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "closure_test_support.h"
#include "platform/sqlite_connection.h"
#include "platform/store_project_manager.h"
#include "services/failure.h"
#include "store_fixture.h"

namespace vlq {
namespace {

using test::LongTag;
using test::StoreFixture;

class StoreDataServices : public ::testing::Test {
 protected:
  void SetUp() override {
    store_.AddReqType(5, "PR");
    store_.AddAttr(12, 5, "Priority", eADTList);
    for (long key : {1, 2, 3}) store_.AddRequirement(key, 5, LongTag({key}));
    data_ = store_.Open()->GetDataServices("");
  }
  long Count(const std::string& table) {
    long rows = 0;
    return static_cast<long>(data_->Execute("SELECT COUNT(*) FROM " + table, rows)->GetRows()[0][0].Whole());
  }
  StoreFixture store_;
  std::shared_ptr<DataServices> data_;
};

TEST_F(StoreDataServices, RunsExactlyOneStatementAndRefusesTheRest) {
  struct Case {
    const char* sql;
    bool runs;
  };
  const std::vector<Case> cases = {
      {"INSERT INTO VLTRACETABLEINDIR (ID, SESSIONID) VALUES (1, 1)", true},
      {"INSERT INTO VLTRACETABLEINDIR (ID, SESSIONID) VALUES (2, 1);", true},
      {"INSERT INTO VLTRACETABLEINDIR (ID, SESSIONID) VALUES (3, 1) ;\r\n  \r\n", true},
      {"INSERT INTO VLTRACETABLEINDIR (ID, SESSIONID) VALUES (4, 1); DELETE FROM VLTRACETABLEINDIR", false},
      {"INSERT INTO VLTRACETABLEINDIR (ID, SESSIONID) VALUES (5, 1);;", false},
      {"INSERT INTO VLTRACETABLEINDIR (ID, SESSIONID) VALUES (6, 1); -- note", false},
      {"INSERT INTO VLTRACETABLEINDIR (ID, SESSIONID) VALUES (7, 1)\r\nDELETE FROM VLTRACETABLEINDIR", false},
      {"", false},
      {" ;", false},
  };
  long expected = 0;
  for (const Case& c : cases) {
    long rows = -1;
    if (c.runs) {
      EXPECT_NO_THROW(data_->Execute(c.sql, rows)) << c.sql;
      ++expected;
    } else {
      EXPECT_THROW(data_->Execute(c.sql, rows), Failure) << c.sql;
    }
    EXPECT_EQ(Count("VLTRACETABLEINDIR"), expected) << "after: " << c.sql;
  }
  try {
    long rows = 0;
    data_->Execute("SELECT 1; SELECT 2", rows);
    ADD_FAILURE() << "two statements ran";
  } catch (const Failure& f) {
    EXPECT_EQ(f.Source(), "DataServices.Execute");
    EXPECT_NE(f.Description().find("one statement"), std::string::npos) << f.Description();
    EXPECT_NE(f.Description().find("SELECT 2"), std::string::npos);
  }
}

TEST_F(StoreDataServices, GetRowsIsColumnMajorAndTellsNullFromEveryValue) {
  long rows = 0;
  auto result = data_->Execute(
      "SELECT ID, CASE ID WHEN 1 THEN NULL WHEN 2 THEN 0 ELSE '' END, ID * 1.5, X'4142' FROM VLREQUIREMENTS "
      "ORDER BY ID",
      rows);
  EXPECT_EQ(rows, 0);
  EXPECT_FALSE(result->AtBOF());
  const Rows cells = result->GetRows();
  ASSERT_EQ(cells.size(), 4u);
  ASSERT_EQ(cells[0].size(), 3u);
  EXPECT_EQ(cells[0], (std::vector<Variant>{Variant(1LL), Variant(2LL), Variant(3LL)}));
  EXPECT_TRUE(cells[1][0].IsNull());
  EXPECT_EQ(cells[1][1], Variant(0LL));
  EXPECT_EQ(cells[1][2], Variant(std::string()));
  EXPECT_EQ(cells[2][1], Variant(3.0));
  EXPECT_EQ(cells[3][0], Variant("AB"));
  EXPECT_TRUE(result->AtEOF());

  // The aggregate over no rows is NULL, and a result without rows has its
  // columns, empty.
  EXPECT_TRUE(data_->Execute("SELECT MAX(ID) FROM VLREQUIREMENTS WHERE ID > 9", rows)->GetRows()[0][0].IsNull());
  auto empty = data_->Execute("SELECT ID, REQUIREMENTNAME FROM VLREQUIREMENTS WHERE ID > 9", rows);
  EXPECT_TRUE(empty->AtBOF());
  EXPECT_TRUE(empty->AtEOF());
  EXPECT_EQ(empty->GetRows(), (Rows{{}, {}}));
  EXPECT_TRUE(data_->Execute("DELETE FROM VLTRACETABLEINDIR", rows)->GetRows().empty());
}

TEST_F(StoreDataServices, TheCursorWalksTheRows) {
  long rows = 0;
  auto result = data_->Execute("SELECT ID, LONGTAGNUMBER FROM VLREQUIREMENTS ORDER BY ID DESC", rows);
  std::vector<long long> seen;
  while (!result->AtEOF()) {
    seen.push_back(result->Field(0).Whole());
    EXPECT_EQ(result->Field(1), Variant(LongTag({static_cast<long>(result->Field(0).Whole())})));
    result->MoveNext();
  }
  EXPECT_EQ(seen, (std::vector<long long>{3, 2, 1}));
  EXPECT_THROW(result->Field(0), Failure);
  EXPECT_THROW(result->MoveNext(), Failure);
  auto again = data_->Execute("SELECT ID FROM VLREQUIREMENTS ORDER BY ID", rows);
  EXPECT_THROW(again->Field(1), Failure);
  again->MoveNext();
  EXPECT_EQ(again->GetRows(), (Rows{{Variant(2LL), Variant(3LL)}}));  // from the current row on
}

TEST_F(StoreDataServices, FailuresCarryNumberSourceAndDescription) {
  struct Case {
    std::string sql;
    long number;
    std::string message;
  };
  const std::string sortView =
      "CREATE VIEW VLATTRVALUESSORTVIEW_12 AS SELECT REQUIREMENTID, MIN(LISTITEMID) AS LISTITEMID "
      "FROM VLUSERDEFINEDLISTVALUES WHERE FIELDID=12 GROUP BY REQUIREMENTID";
  long rows = 0;
  data_->Execute(sortView, rows);
  const std::vector<Case> cases = {
      {"SELEC ID FROM VLREQUIREMENTS", SQLITE_ERROR, "syntax error"},
      {"SELECT ID FROM VLNOTHERE", SQLITE_ERROR, "no such table"},
      {sortView, platform::kFailureObjectExists, "already exists"},
      {"CREATE TABLE VLREQUIREMENTS (ID INTEGER)", platform::kFailureObjectExists, "already exists"},
      {"INSERT INTO VLREQUIREMENTS (ID) VALUES (1)", SQLITE_CONSTRAINT_PRIMARYKEY, "UNIQUE"},
  };
  for (const Case& c : cases) {
    try {
      data_->Execute(c.sql, rows);
      ADD_FAILURE() << c.sql;
    } catch (const Failure& f) {
      EXPECT_EQ(f.Number(), c.number) << c.sql;
      EXPECT_EQ(f.Source(), "DataServices.Execute");
      EXPECT_NE(f.Description().find(c.message), std::string::npos) << f.Description();
      EXPECT_NE(f.Description().find(c.sql), std::string::npos) << f.Description();
    }
  }
  // A missing right to write: the number the engine knows for it.
  data_->Execute("PRAGMA query_only = 1", rows);
  try {
    data_->Execute("CREATE VIEW VLX AS SELECT 1", rows);
    ADD_FAILURE();
  } catch (const Failure& f) {
    EXPECT_EQ(f.Number(), platform::kFailureNoPermission);
  }
  data_->Execute("PRAGMA query_only = 0", rows);
}

TEST_F(StoreDataServices, AffectedRowsCountTheRowsThatChanged) {
  struct Case {
    const char* sql;
    long rows;
  };
  const std::vector<Case> cases = {
      {"INSERT INTO VLTRACETABLEINDIR (ID, SESSIONID) SELECT ID, 7 FROM VLREQUIREMENTS", 3},
      {"INSERT INTO VLTRACETABLEINDIR (ID, SESSIONID) VALUES (9, 8)", 1},
      {"UPDATE VLTRACETABLEINDIR SET SESSIONID = 8 WHERE ID < 3", 2},
      {"SELECT * FROM VLTRACETABLEINDIR", 0},
      {"CREATE VIEW VLX AS SELECT ID FROM VLTRACETABLEINDIR", 0},
      {"DELETE FROM VLTRACETABLEINDIR WHERE SESSIONID = 8", 3},
      {"DELETE FROM VLTRACETABLEINDIR WHERE SESSIONID = 8", 0},
  };
  for (const Case& c : cases) {
    long rows = -1;
    data_->Execute(c.sql, rows);
    EXPECT_EQ(rows, c.rows) << c.sql;
  }
}

TEST_F(StoreDataServices, OpenSchemaListsTheColumnsOfTablesAndViews) {
  long rows = 0;
  data_->Execute("CREATE VIEW VlMixedCase AS SELECT ID AS Key1 FROM VLREQUIREMENTS", rows);
  const std::vector<SchemaColumn> columns = data_->OpenSchema(4);
  auto has = [&](const std::string& table, const std::string& column) {
    for (const SchemaColumn& c : columns) {
      if (c.TABLE_NAME == table && c.COLUMN_NAME == column) return true;
    }
    return false;
  };
  EXPECT_TRUE(has("VLREQUIREMENTS", "LONGTAGNUMBER"));
  EXPECT_TRUE(has("VLATTRVALUESVIEW_12", "ITEMRANK"));
  EXPECT_TRUE(has("VlMixedCase", "Key1"));
  EXPECT_FALSE(has("VLMIXEDCASE", "KEY1"));
  EXPECT_THROW(data_->OpenSchema(20), Failure);
}

// Two connections on one file, as two processes have them: what one writes
// the other reads, a reader isn't held up by a writer, and a writer waits for
// the other's write lock instead of failing.
TEST_F(StoreDataServices, TwoConnectionsShareTheFile) {
  auto other = platform::StoreProjectManager::Create()->Open(store_.File())->GetDataServices("");
  long rows = 0;
  const auto count = [&] { return other->Execute("SELECT ID FROM VLPACKAGES", rows)->GetRows()[0].size(); };
  data_->Execute("INSERT INTO VLPACKAGES (ID, NAME) VALUES (1, 'a')", rows);
  EXPECT_EQ(count(), 1u);

  // A writer waits for another writer's transaction instead of failing.
  store_.Exec("BEGIN IMMEDIATE; INSERT INTO VLPACKAGES (ID, NAME) VALUES (2, 'b');");
  EXPECT_EQ(count(), 1u);
  std::thread commit([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    store_.Exec("COMMIT");
  });
  EXPECT_NO_THROW(data_->Execute("INSERT INTO VLPACKAGES (ID, NAME) VALUES (3, 'c')", rows));
  commit.join();
  EXPECT_EQ(count(), 3u);
}

// The work tables are each connection's own: what a session writes there is
// seen neither by another connection nor in the file.
TEST_F(StoreDataServices, WorkRowsStayWithTheirConnection) {
  auto other = platform::StoreProjectManager::Create()->Open(store_.File())->GetDataServices("");
  long rows = 0;
  data_->Execute("INSERT INTO VLTRACETABLEINDIR (ID, SESSIONID) VALUES (1, 100)", rows);
  EXPECT_EQ(data_->Execute("SELECT ID FROM VLTRACETABLEINDIR WHERE SESSIONID = 100", rows)->GetRows()[0].size(), 1u);
  EXPECT_EQ(other->Execute("SELECT ID FROM VLTRACETABLEINDIR WHERE SESSIONID = 100", rows)->GetRows()[0].size(), 0u);
  EXPECT_EQ(test::ScalarOf(store_, "SELECT COUNT(*) FROM VLTRACETABLEINDIR"), 0);
}

// Deleting a session's work rows takes that session's rows only, whether
// other sessions' rows are in the table or not, and counts what it deleted.
TEST_F(StoreDataServices, DeletingASessionLeavesTheOtherSessionsRows) {
  const struct {
    std::vector<std::string> rows;  // values of (ID, SESSIONID)
    long deleted;
    long left;
  } cases[] = {
      {{"(1, 7)", "(2, 7)", "(3, 7)"}, 3, 0},
      {{"(1, 7)", "(2, 8)", "(3, 7)"}, 2, 1},
      {{"(1, 6)", "(2, 8)"}, 0, 2},
      {{"(1, 7)", "(2, NULL)"}, 1, 1},
      {{}, 0, 0},
  };
  for (const auto& c : cases) {
    long changed = 0;
    data_->Execute("DELETE FROM VLTRACETABLEINDIR", changed);
    for (const std::string& row : c.rows) {
      data_->Execute("INSERT INTO VLTRACETABLEINDIR (ID, SESSIONID) VALUES " + row, changed);
    }
    data_->Execute("DELETE \r\nFROM VLTRACETABLEINDIR \r\nWHERE SESSIONID=7", changed);
    EXPECT_EQ(changed, c.deleted) << c.rows.size();
    EXPECT_EQ(Count("VLTRACETABLEINDIR"), c.left) << c.rows.size();
    EXPECT_EQ(Count("VLTRACETABLEINDIR WHERE SESSIONID = 7"), 0);
  }
}

// Rows in the file's own work tables come from a run that was cut short in an
// older version; opening the file removes them.
TEST_F(StoreDataServices, OpeningClearsWorkRowsLeftInTheFile) {
  store_.Exec("INSERT INTO VLHIERARCHYTABLETEMP (SESSIONID, REQUIREMENTKEY, LONGTAGNUMBER) VALUES (7, 1, '1')");
  platform::StoreProjectManager::Create()->Open(store_.File());
  EXPECT_EQ(test::ScalarOf(store_, "SELECT COUNT(*) FROM VLHIERARCHYTABLETEMP"), 0);
}

}  // namespace
}  // namespace vlq
