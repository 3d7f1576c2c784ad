#include "model/query_def.h"

#include "engine/mod_main.h"
#include "model/typed_comp_rel_expression.h"
#include "model/typed_complex_expression.h"
#include "sql/query_sql.h"

namespace vlq {

void QueryDef::Reset() {
  oProjStructSpec_.Reset();
  sStructSpecifier_.clear();
  cComplexExpressions_.Clear();
  cRelExpressions_.Clear();
  cSortExpressions_.Clear();
}

void QueryDef::SaveLastQueryInfo(QuerySql& oQuerySql) {
  modMain::HandleAndLeave("QueryDef.SaveLastQueryInfo", [&] {
    Reset();
    eBaseType_ = oQuerySql.QueryReturnType();
    eLookupType_ = oQuerySql.LookupType();
    eScope_ = oQuerySql.ReqQueryScope();
    oQuerySql.BaseProjStruSpec().MakeCopy(oProjStructSpec_);
    sStructSpecifier_ = oProjStructSpec_.StructKey();
    for (const auto& expr : oQuerySql.TypedCompExprs()) cComplexExpressions_.Add(expr);
    for (const auto& expr : oQuerySql.TypedCompRelExprs()) cRelExpressions_.Add(expr);
    for (const auto& expr : oQuerySql.TypedSortExprs()) cSortExpressions_.Add(expr);
  });
}

std::string QueryDef::QueryString(enumQueryLookupTypes eQueryLookupType) const {
  std::string text;
  modMain::HandleAndLeave("QueryDef.QueryString", [&] { text = QueryString_(eQueryLookupType); });
  return text;
}

std::string QueryDef::QueryString_(enumQueryLookupTypes eLookupType) const {
  if (eLookupType < eQLTByPrefix || eLookupType > eQLTByGUID || eBaseType_ != eBTRequirements) return {};
  const auto T = [eLookupType](const ProjStructSpecifier& spec) {
    switch (eLookupType) {
      case eQLTByPrefix:
        return spec.CorrectPrefix();
      case eQLTByKey:
        return spec.CorrectRelKey();
      default:
        return spec.CorrectGUID();
    }
  };
  std::string text;
  if (eScope_ == eVLSReqType) {
    const char* word = eLookupType == eQLTByPrefix ? "Prefix" : eLookupType == eQLTByKey ? "Key" : "GUID";
    text += "ReqType.";
    text += word;
    text += "(";
    if (oProjStructSpec_.IsProjKeyResolved()) text += T(oProjStructSpec_);
    text += ") ";
  }
  const auto section = [&](const TypedComplexExpression& expr, const char* keyword) {
    text += " " + T(expr.ProjStruSpec()) + "." + keyword + "(" + expr.QueryString(eLookupType) + ")";
  };
  for (const auto& expr : cComplexExpressions_) section(*expr, "Criteria");
  for (const auto& rel : cRelExpressions_) {
    text += " " + T(rel->SourceProjStruSpec()) + ".RelCriteria(" + rel->QueryString(eLookupType) + ")";
    for (const auto& expr : rel->TypedComplexExpressions()) section(*expr, "Criteria");
  }
  for (const auto& expr : cSortExpressions_) section(*expr, "Sort");
  return text;
}

}  // namespace vlq
