#pragma once
// The fixed words of the SQL the engine writes: keywords with their trailing
// blank, clause starters with their line break in front, function names,
// tables and columns. Statements are joined from these; the text is binding to
// the blank, since hierarchy retention reworks finished statements as text.

#include <string_view>

namespace vlq::sqlv {

inline constexpr std::string_view CRLF = "\r\n";

inline constexpr std::string_view SELECT = "SELECT ";
inline constexpr std::string_view DELETE_ = "DELETE ";
inline constexpr std::string_view UPDATE = "UPDATE ";
inline constexpr std::string_view CREATE = "CREATE ";
inline constexpr std::string_view ALTER = "ALTER ";
inline constexpr std::string_view TABLE = "TABLE ";
inline constexpr std::string_view COLUMN = "COLUMN ";
inline constexpr std::string_view SET = "SET ";
inline constexpr std::string_view INSERT = "INSERT ";
inline constexpr std::string_view INTO = "INTO ";
inline constexpr std::string_view ADD = "ADD ";
inline constexpr std::string_view AS = "AS ";
inline constexpr std::string_view DISTINCT = "DISTINCT ";
inline constexpr std::string_view COMMA = ", ";
inline constexpr std::string_view FROM = "FROM ";
inline constexpr std::string_view WHERE = "WHERE ";
inline constexpr std::string_view LEFT = "LEFT ";
inline constexpr std::string_view INNER = "INNER ";
inline constexpr std::string_view OUTER = "OUTER ";
inline constexpr std::string_view JOIN = "JOIN ";
inline constexpr std::string_view ON = "ON ";
inline constexpr std::string_view NOT = "NOT ";
inline constexpr std::string_view AND = "AND ";
inline constexpr std::string_view OR = "OR ";
inline constexpr std::string_view ORDER_BY = "ORDER BY ";
inline constexpr std::string_view NULL_ = "NULL";
inline constexpr std::string_view GROUP_BY = "GROUP BY ";
inline constexpr std::string_view EQ = "=";
inline constexpr std::string_view IS = "IS ";
inline constexpr std::string_view ORACLE_OUTER = "(+)";
inline constexpr std::string_view NE = "<>";
inline constexpr std::string_view LT = "<";
inline constexpr std::string_view GT = ">";
inline constexpr std::string_view LE = "<=";
inline constexpr std::string_view GE = ">=";
inline constexpr std::string_view IN = "IN ";
inline constexpr std::string_view LIKE = "LIKE ";
inline constexpr std::string_view BETWEEN = "BETWEEN ";
inline constexpr std::string_view DESC = "DESC ";

// Clause starters: the line break stands in front of the word.
inline constexpr std::string_view nlFROM = "\r\nFROM ";
inline constexpr std::string_view nlWHERE = "\r\nWHERE ";
inline constexpr std::string_view nlON = "\r\nON ";
inline constexpr std::string_view nlLEFT = "\r\nLEFT ";
inline constexpr std::string_view nlAND = "\r\nAND ";
inline constexpr std::string_view nlOR = "\r\nOR ";
inline constexpr std::string_view nlGROUP_BY = "\r\nGROUP BY ";
inline constexpr std::string_view nlORDER_BY = "\r\nORDER BY ";

// Functions.
inline constexpr std::string_view IIF = "IIF";
inline constexpr std::string_view VAL = "VAL";
inline constexpr std::string_view LEFT_FN = "LEFT";
inline constexpr std::string_view MID = "MID";
inline constexpr std::string_view LEN = "LEN";
inline constexpr std::string_view CSTR = "CSTR";
inline constexpr std::string_view LENGTH = "LENGTH";
inline constexpr std::string_view DATALENGTH = "DATALENGTH";
inline constexpr std::string_view CHAR_LENGTH = "CHAR_LENGTH";
inline constexpr std::string_view INSTR = "INSTR";
inline constexpr std::string_view CHARINDEX = "CHARINDEX";
inline constexpr std::string_view LOCATE = "LOCATE";
inline constexpr std::string_view SUBSTR = "SUBSTR";
inline constexpr std::string_view SUBSTRING = "SUBSTRING";
inline constexpr std::string_view VL_STR_TO_NUMBER = "VL_STR_TO_NUMBER";
inline constexpr std::string_view DECIMAL = "DECIMAL";
inline constexpr std::string_view CONVERT_INT = "CONVERT(int, ";
inline constexpr std::string_view TO_DATE = "TO_DATE";
inline constexpr std::string_view MOD = "MOD";
inline constexpr std::string_view BITAND = "BITAND";
inline constexpr std::string_view MIN = "MIN";
inline constexpr std::string_view MAX = "MAX";
inline constexpr std::string_view COUNT = "COUNT";
inline constexpr std::string_view UPPER = "UPPER";

// Literals of the query model.
inline constexpr std::string_view TRUE_ = "True";
inline constexpr std::string_view FALSE_ = "False";
inline constexpr std::string_view NO_ENTRY = "<NO ENTRY>";

// Tables and views.
inline constexpr std::string_view VLREQUIREMENTS = "VLREQUIREMENTS";
inline constexpr std::string_view VLPROJECTREQUIREMENTS = "VLPROJECTREQUIREMENTS";
inline constexpr std::string_view VLTORELATIONSHIPS = "VLTORELATIONSHIPS";
inline constexpr std::string_view VLUSERS = "VLUSERS";
inline constexpr std::string_view VLDOCUMENTS = "VLDOCUMENTS";
inline constexpr std::string_view VLPACKAGES = "VLPACKAGES";
inline constexpr std::string_view VLPACKAGEELEMENTS = "VLPACKAGEELEMENTS";
inline constexpr std::string_view VLUSERDEFINEDLISTVALUES = "VLUSERDEFINEDLISTVALUES";
inline constexpr std::string_view VLUSERDEFINEDLISTITEMS = "VLUSERDEFINEDLISTITEMS";
inline constexpr std::string_view VLATTRVALUESVIEW_ = "VLATTRVALUESVIEW_";
inline constexpr std::string_view VLATTRVALUESSORTVIEW_ = "VLATTRVALUESSORTVIEW_";
inline constexpr std::string_view VLDISCUSSIONS = "VLDISCUSSIONS";
inline constexpr std::string_view VLPROJECTDISCUSSIONS = "VLPROJECTDISCUSSIONS";
inline constexpr std::string_view VLDISCUSSIONREQUIREMENTS = "VLDISCUSSIONREQUIREMENTS";
inline constexpr std::string_view VLDISCUSSIONUSERS = "VLDISCUSSIONUSERS";
inline constexpr std::string_view VLDISCUSSIONGROUPS = "VLDISCUSSIONGROUPS";
inline constexpr std::string_view VLDISCUSSIONSREAD = "VLDISCUSSIONSREAD";
inline constexpr std::string_view VLTRACETABLETEMP = "VLTRACETABLETEMP";
inline constexpr std::string_view VLTRACETABLEINDIR = "VLTRACETABLEINDIR";
inline constexpr std::string_view VLHIERARCHYTABLETEMP = "VLHIERARCHYTABLETEMP";
inline constexpr std::string_view VLHIERARCHYORDEREDLEVELSTEMP = "VLHIERARCHYORDEREDLEVELSTEMP";
inline constexpr std::string_view VLHIERARCHYFINALORDERTEMP = "VLHIERARCHYFINALORDERTEMP";

}  // namespace vlq::sqlv
