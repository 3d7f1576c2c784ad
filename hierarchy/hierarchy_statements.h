#pragma once
// The statements of the level ordering, written as text apart from running
// them, so that the operations of hierarchy/ and their tests share one writer.
// Internal to hierarchy/ (and its tests).
//
// Every statement is joined line by line with CR LF; blanks, trailing ones
// too, are part of the contract and never tidied.

#include <string>
#include <string_view>
#include <vector>

namespace vlq {

class QuerySql;

namespace hierarchy {

// Lines joined by CR LF, with no break behind the last one.
std::string JoinLines(const std::vector<std::string>& lines);

// The session id as it stands in a statement: its decimal digits.
std::string SessionText(long lSessionID);

// True when the same requirement can stand in several rows of the joined
// tables, so that a level statement must group.
bool IsAggregated(const QuerySql& sql);

// The question for the number of levels of a session: the longest tag of the
// session divided by ten. Empty for a dialect without hierarchy statements.
std::string LevelCountSQL(QuerySql& sql, long lSessionID);

// The number of levels of a session, asked with LevelCountSQL: NULL (no rows)
// counts as 0.
long ReadLevelCount(QuerySql& sql, long lSessionID);

// The INSERT of the parents of the session's rows of one level (from 2):
// for each row, the requirement of its own type and of the project (its key
// as SQL text) whose tag is the row's tag without its last group, unless it
// is in the session already. Run from the deepest level up, it adds every
// ancestor of every hit once.
std::string AncestorsSQL(QuerySql& sql, long lSessionID, long lLevel, std::string_view sProjectKey);

// The key of the query's requirement type when the query is scoped to one
// type (every row of a session is then of that type, and so is every parent);
// empty for a whole-project query.
std::string ScopedType(const QuerySql& sql);

// The test that a row (its tag column sTag, its requirement's type column
// sType) has its parent among the rows of a session in sTable, whose key
// column is sKeyColumn: a row of that table with the row's tag less its last
// group, of the same requirement type (a test left out in a query of one
// type). A row without it is a root of the tree.
std::string ParentPresentSQL(QuerySql& sql, long lSessionID, std::string_view sTable, std::string_view sKeyColumn,
                             std::string_view sTag, std::string_view sType);

// Whether the level statements read the work table alone: in a query of one
// type sorted by nothing but the tag (sOrderBy, from SortOrderToSQL), every
// row of the session is a requirement of the project whose tag the work
// table holds, and none of the main statement's joins is needed to order a
// level.
bool LevelsReadWorkTableOnly(QuerySql& sql, std::string_view sOrderBy);

// The part of a level statement that is the same for every level: the INSERT
// (or, on Oracle, CREATE TABLE of the level table; on DB2 nothing), the select
// list and the FROM clause of the dialect, or the work table alone.
std::string LevelHeadSQL(QuerySql& sql, long lSessionID, bool bWorkTableOnly = false);

// One level statement: the head, the level's condition, and the GROUP BY and
// ORDER BY of the query's sort order; with bWorkTableOnly, the order of the
// work table's tags.
std::string LevelSQL(QuerySql& sql, std::string_view sHead, long lSessionID, long lLevel, std::string_view sOrderBy,
                     std::string_view sGroupBy, bool bWorkTableOnly = false);

// Oracle: the copy of a level table into VLHIERARCHYORDEREDLEVELSTEMP, which
// numbers the rows in copy order, and the table's removal.
std::string OracleLevelCopySQL(QuerySql& sql, long lSessionID);
std::string OracleLevelDropSQL(QuerySql& sql, long lSessionID);

// DB2: one row of a level, inserted by itself so that DATAORDER follows the
// order in which the rows were read.
std::string DB2LevelRowSQL(QuerySql& sql, std::string_view sSessionID, std::string_view sRequirementID,
                           std::string_view sLongTagNumber);

// The ORDERTAG of every row of one level: the parent's ORDERTAG (none for
// level 1) and the row's own DATAORDER padded to ten characters. Empty for a
// dialect without hierarchy statements.
std::string FinalOrderSQL(QuerySql& sql, long lSessionID, long lLevel);

}  // namespace hierarchy
}  // namespace vlq
