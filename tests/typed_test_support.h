#pragma once
// Helpers of the typed-model tests: read an expression list and type it
// against a project as a criteria or sort section would, and reach the typed
// objects of its tokens.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>

#include "engine/mod_main.h"
#include "model/proj_struct_specifier.h"
#include "model/typed_complex_expression.h"
#include "model/typed_simple_expression.h"
#include "parser/complex_expression.h"
#include "parser/simple_expression.h"
#include "parser/token.h"

namespace vlq::test {

struct TypeOptions {
  enumQueryLookupTypes lookup = eQLTByPrefix;
  enumQueryReturnTypes base = eBTRequirements;
  enumReqQueryScope scope = eVLSReqType;
  std::string spec = "PR";  // the specifier of the section, in the lookup form
  bool stopOnErr = true;
  bool sort = false;
};

struct TypedList {
  bool parsed = false;
  std::shared_ptr<ComplexExpression> expression;
  std::shared_ptr<TypedComplexExpression> typed;
  enumQueryEngineError result = eQEENone;
  std::string errInfo;

  // The typed expression of the token at a position from 1; nullptr if the
  // token holds none.
  std::shared_ptr<TypedSimpleExpression> Simple(std::size_t position = 1) const {
    const auto* token = expression->Tokens().Item(position);
    return token ? (*token)->AsTypedSimpleExpression() : nullptr;
  }
};

// Reads sText as an expression list and types it with the options. A list the
// reader refuses fails the test.
inline TypedList TypeList(const std::shared_ptr<Project>& project, std::string_view sText, const TypeOptions& o = {}) {
  modMain::SetModuleLookupType(o.lookup);
  TypedList list;
  list.expression = std::make_shared<ComplexExpression>();
  list.parsed = list.expression->Tokenize(sText, o.sort);
  EXPECT_TRUE(list.parsed) << sText << ": " << list.expression->LastTokenizeErrInfo();
  ProjStructSpecifier spec;
  std::string specErr;
  spec.ResolveKeysAndPrefixes(project, o.spec, o.lookup, specErr);
  list.typed = std::make_shared<TypedComplexExpression>();
  list.typed->SetComplexExpression(list.expression);
  list.typed->SetBaseType(o.base);
  list.typed->SetProjStruSpec(spec);
  list.result = list.typed->ResolveForType(o.stopOnErr, project, o.lookup, o.scope, list.errInfo);
  return list;
}

// Options for a requirement query of the whole project.
inline TypeOptions ProjectWide(enumQueryLookupTypes lookup = eQLTByPrefix) {
  TypeOptions o;
  o.lookup = lookup;
  o.scope = eVLSProject;
  o.spec = "REQUIREMENT";
  return o;
}

// Options for a discussion query.
inline TypeOptions Discussions(enumQueryLookupTypes lookup = eQLTByPrefix) {
  TypeOptions o;
  o.lookup = lookup;
  o.base = eBTDiscussions;
  o.scope = eVLSUnknown;
  o.spec = "DISCUSSION";
  return o;
}

}  // namespace vlq::test
