#pragma once
// QueryDef: the object form of a query string that QueryEngine hands to its
// caller: base type, project element, filter, relationship and sort expressions,
// and the canonical text of the query in each of the three lookup forms. It keeps
// the typed expressions alive after the engine's next query, and reading it needs
// no open project.

#include <memory>
#include <string>

#include "engine/enums.h"
#include "model/collection.h"
#include "model/proj_struct_specifier.h"

namespace vlq {

class QuerySql;
class TypedComplexExpression;
class TypedCompRelExpression;

class QueryDef {
 public:
  QueryDef() = default;

  // The query in the form that eQueryLookupType says, sections in canonical
  // order; empty for a lookup type other than 1, 2, 3 and for discussion queries.
  std::string QueryString(enumQueryLookupTypes eQueryLookupType) const;
  std::string KeyedQuery() const { return QueryString(eQLTByKey); }
  const ProjStructSpecifier& ProjStructSpec() const { return oProjStructSpec_; }
  const Collection<std::shared_ptr<TypedComplexExpression>>& ComplexExpressions() const {
    return cComplexExpressions_;
  }
  const Collection<std::shared_ptr<TypedComplexExpression>>& SortExpressions() const { return cSortExpressions_; }
  const Collection<std::shared_ptr<TypedCompRelExpression>>& RelExpressions() const { return cRelExpressions_; }
  const std::string& StructSpecifier() const { return sStructSpecifier_; }

  enumQueryReturnTypes BaseType() const { return eBaseType_; }
  enumQueryLookupTypes LookupType() const { return eLookupType_; }
  enumReqQueryScope Scope() const { return eScope_; }

  // ---- For the classes of the component ----
  void SaveLastQueryInfo(QuerySql& oQuerySql);
  void Reset();

 private:
  std::string QueryString_(enumQueryLookupTypes eQueryLookupType) const;

  enumQueryReturnTypes eBaseType_ = eBTNone;
  enumQueryLookupTypes eLookupType_ = eQLTNone;
  enumReqQueryScope eScope_ = eVLSUnknown;
  ProjStructSpecifier oProjStructSpec_;
  std::string sStructSpecifier_;
  Collection<std::shared_ptr<TypedComplexExpression>> cComplexExpressions_;
  Collection<std::shared_ptr<TypedCompRelExpression>> cRelExpressions_;
  Collection<std::shared_ptr<TypedComplexExpression>> cSortExpressions_;
};

}  // namespace vlq
