// The section operations of QueryEngine: each searches the working text for
// its keyword, reads the section, hands its expression list to the builder and
// blanks out what it has consumed. What stays non-blank at the end is the
// unread rest of the query.
//
// The working text is trimmed once, when a run starts; afterwards it keeps its
// length and positions, and "trimming" it is only looking past its blanks.
// A keyword found at p then is at a section position exactly when it stands at
// the start or behind a blank, as it would in the trimmed text.
#include "engine/mod_main.h"
#include "engine/query_engine.h"
#include "model/proj_struct_specifier.h"
#include "model/text_util.h"
#include "model/typed_comp_rel_expression.h"
#include "model/typed_complex_expression.h"
#include "parser/complex_expression.h"
#include "sql/query_sql.h"

namespace vlq {
namespace {

// At most this many characters are blanked at a time.
constexpr std::size_t kMaxBlank = 255;

void BlankAt(std::string& text, std::size_t p, std::size_t n) {
  if (p >= text.size()) return;
  n = std::min({n, kMaxBlank, text.size() - p});
  std::fill_n(text.begin() + static_cast<std::ptrdiff_t>(p), n, ' ');
}

bool IsBlank(const std::string& text) { return text.find_first_not_of(' ') == std::string::npos; }

bool IsSectionPosition(const std::string& text, std::size_t p) { return p == 0 || text[p - 1] == ' '; }

// The specifier text that a section keyword begins with. The criteria of a
// base-project type by key use its bare StructKey, which is what CorrectRelKey
// gives there too.
std::string SectionSpecText(const ProjStructSpecifier& spec, enumQueryLookupTypes eLookupType, bool bCriteria) {
  switch (eLookupType) {
    case eQLTByPrefix:
      return spec.CorrectPrefix();
    case eQLTByKey:
      if (bCriteria) return spec.IsBaseProjStruSpec() ? spec.StructKey() : spec.CompleteRelKey();
      return spec.CorrectRelKey();
    case eQLTByGUID:
      return spec.CorrectGUID();
    default:
      return {};
  }
}

// Finds the first occurrence of a keyword, case-blind. Sections are blanked as
// they are read, so occurrences in front of an earlier match can only vanish,
// never appear: the search goes on from there. A keyword that holds a blank
// could be completed by blanking and is searched for from the start. The text
// of a match may be longer or shorter than the keyword (a type "STRASSE"
// written "Straẞe"): Length is that of the latest match.
class KeywordFinder {
 public:
  explicit KeywordFinder(std::string keyword) : keyword_(std::move(keyword)) {
    fromStart_ = keyword_.find(' ') != std::string::npos;
  }
  std::size_t Find(const std::string& text) {
    // Once absent, a keyword without a blank stays absent: blanking never
    // makes one.
    if (absent_) return std::string::npos;
    const std::size_t p = text::FindNoCase(text, keyword_, fromStart_ ? 0 : from_, &length_);
    if (p != std::string::npos) from_ = p;
    else
      absent_ = !fromStart_;
    return p;
  }
  std::size_t Length() const { return length_; }

 private:
  std::string keyword_;
  std::size_t length_ = 0;
  std::size_t from_ = 0;
  bool fromStart_ = false;
  bool absent_ = false;
};

// Reads the section whose keyword stands at p: blanks the keyword, cuts out the
// parenthesised text behind it and tokenizes that. False, with the result and
// message of the tokenizer, when the text isn't a valid list.
bool CutSection(std::string& working, std::size_t p, std::size_t keywordLength, bool bIsSort,
                std::shared_ptr<ComplexExpression>& parsed, enumQueryEngineError& result, std::string& sErrorInfo) {
  BlankAt(working, p, keywordLength);
  const std::string expression = modMain::DataBetweenParens(working, p + keywordLength + 1);
  parsed = std::make_shared<ComplexExpression>();
  if (parsed->Tokenize(expression, bIsSort)) return true;
  result = parsed->LastTokenizeErr();
  sErrorInfo = parsed->LastTokenizeErrInfo();
  return false;
}

}  // namespace

enumQueryEngineError QueryEngine::ExtractKeywordCount_(std::string& /*sErrorInfo*/) {
  modMain::HandleAndLeave("QueryEngine.ExtractKeywordCount_", [&] {
    std::size_t length = 0;
    if (text::StartsWithNoCase(sWorkingText_, "COUNT", &length)) {
      oQuerySql_->CountOnly(true);
      BlankAt(sWorkingText_, 0, length);
    }
  });
  return eQEENone;
}

enumQueryEngineError QueryEngine::ExtractQueryBasePrefix(std::string& sErrorInfo) {
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave("QueryEngine.ExtractQueryBasePrefix", [&] {
    QuerySql& sql = *oQuerySql_;
    if (sql.QueryReturnType() == eBTRequirements) {
      const char* word = sql.LookupType() == eQLTByPrefix ? "Prefix" : sql.LookupType() == eQLTByKey ? "Key" : "GUID";
      const std::string keyword = std::string("ReqType.") + word;
      std::size_t length = 0;
      const std::size_t p = text::FindNoCase(sWorkingText_, keyword, 0, &length);
      if (p == std::string::npos) {
        sql.ReqQueryScope(eVLSProject);
        result = sql.BaseProjStruSpec().ResolveKeysAndPrefixes(sql.BaseProject(), "REQUIREMENT", sql.LookupType(),
                                                                sErrorInfo);
        return;
      }
      sql.ReqQueryScope(eVLSReqType);
      BlankAt(sWorkingText_, p, length);
      std::string data = modMain::DataBetweenParens(sWorkingText_, p + length + 1);
      if (data.empty()) {
        sErrorInfo = modMain::Message(14011);
        result = eQEEMissingBaseTypePrefix;
        return;
      }
      long consumed = 0;
      data = modMain::ExtractQueryBaseCriteria(data, consumed, false);
      result = sql.ResolveBaseProjStructSpecifier(data, sErrorInfo);
      if (result != eQEENone && text::TrimView(sErrorInfo).empty()) sErrorInfo = "Unknown base prefix or key : " + data;
    } else if (sql.QueryReturnType() == eBTDiscussions) {
      result = sql.BaseProjStruSpec().ResolveKeysAndPrefixes(sql.BaseProject(), "DISCUSSION", sql.LookupType(),
                                                              sErrorInfo);
    }
  });
  return result;
}

enumQueryEngineError QueryEngine::ExtractQueryBaseCriteria(std::string& sErrorInfo) {
  // A copy: the builder's specifier may change while the sections are read.
  const ProjStructSpecifier spec = oQuerySql_->BaseProjStruSpec();
  return ExtractQueryCriteria(spec, sErrorInfo);
}

enumQueryEngineError QueryEngine::ExtractQueryCriteria(const ProjStructSpecifier& spec, std::string& sErrorInfo) {
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave("QueryEngine.ExtractQueryCriteria", [&] {
    QuerySql& sql = *oQuerySql_;
    const std::string S = SectionSpecText(spec, sql.LookupType(), true);
    if (IsBlank(sWorkingText_)) return;
    KeywordFinder criteria(S + ".Criteria");
    KeywordFinder relationship(S + ".RelCriteria");
    while (true) {
      const std::size_t p = criteria.Find(sWorkingText_);
      if (p == std::string::npos || !IsSectionPosition(sWorkingText_, p)) return;
      // Criteria behind the first relationship section of the same specifier
      // belong to the destinations of that relationship.
      const std::size_t r = relationship.Find(sWorkingText_);
      if (r != std::string::npos && !(p < r)) return;
      std::shared_ptr<ComplexExpression> parsed;
      if (!CutSection(sWorkingText_, p, criteria.Length(), false, parsed, result, sErrorInfo)) return;
      result = sql.AddTypedComplexExpression(bStopOnErr_, parsed, spec, sErrorInfo);
      if (result != eQEENone) return;
    }
  });
  return result;
}

enumQueryEngineError QueryEngine::ExtractQueryBaseRelCriteria(std::string& sErrorInfo) {
  const ProjStructSpecifier spec = oQuerySql_->BaseProjStruSpec();
  return ExtractQueryRelationships(spec, sErrorInfo);
}

enumQueryEngineError QueryEngine::ExtractQueryRelationships(const ProjStructSpecifier& spec,
                                                            std::string& sErrorInfo) {
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave("QueryEngine.ExtractQueryRelationships", [&] {
    QuerySql& sql = *oQuerySql_;
    const std::string S = SectionSpecText(spec, sql.LookupType(), false);
    if (IsBlank(sWorkingText_)) return;
    KeywordFinder relationship(S + ".RelCriteria");
    while (true) {
      const std::size_t p = relationship.Find(sWorkingText_);
      if (p == std::string::npos || !IsSectionPosition(sWorkingText_, p)) return;
      std::shared_ptr<ComplexExpression> parsed;
      if (!CutSection(sWorkingText_, p, relationship.Length(), false, parsed, result, sErrorInfo)) return;
      // The destinations are read again from the typed relationship.
      Collection<ProjStructSpecifier> destinations;
      result = sql.AddTypedCompRelExpression(bStopOnErr_, parsed, spec, destinations, sErrorInfo);
      destinations.Clear();
      if (result != eQEENone) return;
    }
  });
  return result;
}

enumQueryEngineError QueryEngine::ExtractQueryBaseRelCritCriteria(std::string& sErrorInfo) {
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave("QueryEngine.ExtractQueryBaseRelCritCriteria", [&] {
    // A copy of the list: reading destination criteria adds to no list of the builder.
    std::vector<std::shared_ptr<TypedCompRelExpression>> relationships(oQuerySql_->TypedCompRelExprs().begin(),
                                                                       oQuerySql_->TypedCompRelExprs().end());
    for (const auto& relationship : relationships) {
      // A negated relationship has no destination criteria: their text stays unread.
      if (relationship->ExprNot()) continue;
      if (relationship->RelOperator() != eEOIN) {
        sErrorInfo = modMain::Message(14012);
        result = eQEESystemAttrOp;
        return;
      }
      for (const ProjStructSpecifier& destination : relationship->DestProjStruSpecs()) {
        result = ExtractQueryRelCritCriteria(relationship, destination, sErrorInfo);
        if (result != eQEENone) return;
      }
    }
  });
  return result;
}

enumQueryEngineError QueryEngine::ExtractQueryRelCritCriteria(const std::shared_ptr<TypedCompRelExpression>& oRelExpr,
                                                              const ProjStructSpecifier& oDest,
                                                              std::string& sErrorInfo) {
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave("QueryEngine.ExtractQueryRelCritCriteria", [&] {
    QuerySql& sql = *oQuerySql_;
    if (IsBlank(sWorkingText_)) return;
    KeywordFinder criteria(SectionSpecText(oDest, sql.LookupType(), false) + ".Criteria");
    while (true) {
      const std::size_t p = criteria.Find(sWorkingText_);
      if (p == std::string::npos || !IsSectionPosition(sWorkingText_, p)) return;
      std::shared_ptr<ComplexExpression> parsed;
      if (!CutSection(sWorkingText_, p, criteria.Length(), false, parsed, result, sErrorInfo)) return;
      auto typed = std::make_shared<TypedComplexExpression>();
      typed->SetComplexExpression(parsed);
      typed->SetBaseType(sql.QueryReturnType());
      typed->SetProjStruSpec(oDest);

      std::shared_ptr<Project> project;
      if (oDest.IsBaseProjStruSpec()) {
        project = sql.BaseProject();
      } else {
        modMain::IgnoreAndGoOn([&] { project = sql.BaseProject()->Manager()->OpenProjectsItem(oDest.ProjPrefix()); });
      }
      if (!project) {
        sErrorInfo = modMain::MessageWithArg(14016, oDest.ProjPrefix());
        result = eQEEExtProjClosed;
        return;
      }
      result = typed->ResolveForType(bStopOnErr_, project, sql.LookupType(), eVLSReqType, sErrorInfo);
      if (result != eQEENone) return;
      result = oRelExpr->AddTypedComplexExpression(typed, &oDest, sErrorInfo);
      if (result != eQEENone) return;
      if (oRelExpr->TypedComplexExpressionsHasIllegalReference(sql.BaseProjStruSpec())) {
        sErrorInfo = modMain::Message(14128);
        result = eQEEIllegalProjectReference;
        return;
      }
    }
  });
  return result;
}

enumQueryEngineError QueryEngine::ExtractQueryBaseSortCriteria(std::string& sErrorInfo) {
  const ProjStructSpecifier spec = oQuerySql_->BaseProjStruSpec();
  return ExtractQuerySorts(spec, sErrorInfo);
}

enumQueryEngineError QueryEngine::ExtractQuerySorts(const ProjStructSpecifier& spec, std::string& sErrorInfo) {
  enumQueryEngineError result = eQEENone;
  modMain::HandleAndLeave("QueryEngine.ExtractQuerySorts", [&] {
    QuerySql& sql = *oQuerySql_;
    const std::string S = SectionSpecText(spec, sql.LookupType(), false);
    if (IsBlank(sWorkingText_)) return;
    KeywordFinder sort(S + ".Sort");
    while (true) {
      const std::size_t p = sort.Find(sWorkingText_);
      if (p == std::string::npos || !IsSectionPosition(sWorkingText_, p)) return;
      std::shared_ptr<ComplexExpression> parsed;
      if (!CutSection(sWorkingText_, p, sort.Length(), true, parsed, result, sErrorInfo)) return;
      result = sql.AddTypedSortExpression(bStopOnErr_, parsed, spec, sErrorInfo);
      if (result != eQEENone) return;
    }
  });
  return result;
}

}  // namespace vlq
