// The build errors that `vlquery build` shows for each expression of a query:
// what Build recorded in the typed expressions whose references didn't resolve.

#include "model/query_def.h"
#include "model/typed_comp_rel_expression.h"
#include "model/typed_complex_expression.h"
#include "model/typed_simple_expression.h"
#include "parser/token.h"
#include "query_commands.h"

namespace vlq::tools {
namespace {

void AddErrors(enumQueryEngineError number, const std::string& text, std::vector<std::string>& out) {
  if (number != eQEENone) out.push_back(std::to_string(static_cast<int>(number)) + ": " + text);
}

void CollectFromList(const TypedComplexExpression& list, std::vector<std::string>& out) {
  const auto* tokens = list.Tokens();
  if (tokens == nullptr) return;
  for (const auto& token : *tokens) {
    if (!token) continue;
    if (auto simple = token->AsTypedSimpleExpression()) {
      AddErrors(simple->BuildErrNumber(), simple->BuildErrString(), out);
    } else if (auto child = token->AsTypedComplexExpression()) {
      CollectFromList(*child, out);
    }
  }
}

}  // namespace

std::vector<std::string> ExpressionBuildErrors(const QueryDef& oQueryDef) {
  std::vector<std::string> errors;
  for (const auto& list : oQueryDef.ComplexExpressions()) CollectFromList(*list, errors);
  for (const auto& relationship : oQueryDef.RelExpressions()) {
    AddErrors(relationship->BuildErrNumber(), relationship->BuildErrString(), errors);
    for (const auto& list : relationship->TypedComplexExpressions()) CollectFromList(*list, errors);
  }
  for (const auto& list : oQueryDef.SortExpressions()) CollectFromList(*list, errors);
  return errors;
}

}  // namespace vlq::tools
