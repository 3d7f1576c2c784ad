#pragma once
// SimpleExpression: one expression of an expression list as it stands in the
// text, attribute, operator and value, before any project has been looked at.
// ResolveFromString reads one such expression from the head of a text and
// says how many characters it took, so that the tokenizer can go on behind
// them. TypedSimpleExpression later gives the words their meaning.

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "engine/enums.h"
#include "model/collection.h"
#include "model/variant.h"

namespace vlq {

namespace parser {
class ReadContext;
}

class SimpleExpression {
 public:
  SimpleExpression() = default;

  enumExpressionOperator Operator() const { return eOperator_; }
  void SetOperator(enumExpressionOperator eOperator) { eOperator_ = eOperator; }
  // The value as written (a string) once parsed.
  const Variant& Value() const { return vValue_; }
  void SetValue(Variant vValue) { vValue_ = std::move(vValue); }
  // Empties what ResolveFromString fills; HighValue stays. Always true.
  bool Reset();
  bool ExprNot() const { return bExprNot_; }
  void SetExprNot(bool bExprNot) { bExprNot_ = bExprNot; }
  // The upper bound of a Between expression.
  const Variant& HighValue() const { return vHighValue_; }
  void SetHighValue(Variant vHighValue) { vHighValue_ = std::move(vHighValue); }

  // Reads one expression from the head of sExpr (which is not changed).
  // lExprLen receives the count of characters of sExpr up to the end of the
  // expression, on failure too; sErrInfo the message of a failure. bIsSort:
  // the expression stands in a sort section.
  enumQueryEngineError ResolveFromString(std::string_view sExpr, long& lExprLen, std::string& sErrInfo,
                                         bool bIsSort = false);

  // The attribute word as written, quotes removed.
  const std::string& AttrPrefix() const { return sAttrPrefix_; }
  // Setting it from outside trims it and puts it into upper case.
  void SetAttrPrefix(std::string_view sAttrPrefix);
  // The items of an In list, each stored under itself as key (case-blind), in
  // the order first written.
  const Collection<std::string>& ListItemPrefixes() const { return cListItemPrefixes_; }
  bool SortExpression() const { return bSortExpression_; }
  void SetSortExpression(bool bSortExpression) { bSortExpression_ = bSortExpression; }
  // The trimmed text handed to ResolveFromString, with all that followed the
  // expression.
  std::string OrgExprString() const;
  // "All" stood behind the attribute. For the classes of the component.
  bool IsAllExpr() const { return bIsAllExpr_; }

  std::string ClassName() const { return "SimpleExpression"; }
  std::string ClassVersion() const;

 private:
  friend class ComplexExpression;

  // ResolveFromString over the window [nBegin, nEnd) of the context's text,
  // which the tokenizer shares with every expression of the list.
  enumQueryEngineError ResolveFromWindow_(parser::ReadContext& oContext, std::size_t nBegin, std::size_t nEnd,
                                          long& lExprLen, std::string& sErrInfo, bool bIsSort);

  std::string sAttrPrefix_;
  enumExpressionOperator eOperator_ = eEOUnknown;
  Variant vValue_;
  Variant vHighValue_;
  bool bExprNot_ = false;
  Collection<std::string> cListItemPrefixes_;
  bool bSortExpression_ = false;
  bool bIsAllExpr_ = false;
  // OrgExprString is kept as a window of the shared text rather than a copy:
  // every expression of a list refers to the rest of the list, and copies
  // would cost the square of its length.
  std::shared_ptr<const std::string> oOrgText_;
  std::size_t nOrgBegin_ = 0;
  std::size_t nOrgEnd_ = 0;
};

}  // namespace vlq
