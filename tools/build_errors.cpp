// The build errors that `vlquery build` shows for each expression of a query.
//
// TO BE FILLED IN with the typed query model: walk the tokens of every
// TypedComplexExpression in QueryDef.ComplexExpressions and SortExpressions,
// and of every TypedCompRelExpression in RelExpressions with its destination
// expressions, and for each typed expression whose BuildErrNumber() is not 0
// add "<BuildErrNumber()>: <BuildErrString()>". Until then `build` shows only
// the three texts of the query.

#include "query_commands.h"

namespace vlq::tools {

std::vector<std::string> ExpressionBuildErrors(const QueryDef& /*oQueryDef*/) { return {}; }

}  // namespace vlq::tools
