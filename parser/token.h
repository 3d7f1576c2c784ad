#pragma once
// Token: one item of an expression list. A token is a connector ("AND",
// "OR"), the "NOT" before a parenthesised list, or an expression object: a
// parsed SimpleExpression or child ComplexExpression, which the typed layer
// later replaces in place by a TypedSimpleExpression or TypedComplexExpression
// of the same token. Tokens are shared (std::shared_ptr<Token>) between the
// parsed list, the typed list and the query definition a caller keeps, so a
// change of a token is seen by all of them.

#include <memory>
#include <string>
#include <variant>

#include "engine/enums.h"

namespace vlq {

class SimpleExpression;
class ComplexExpression;
class TypedSimpleExpression;
class TypedComplexExpression;

class Token {
 public:
  // The object side of the value: one of the four expression objects, shared,
  // never copied.
  using Object = std::variant<std::shared_ptr<SimpleExpression>, std::shared_ptr<ComplexExpression>,
                              std::shared_ptr<TypedSimpleExpression>, std::shared_ptr<TypedComplexExpression>>;
  // What a token holds: nothing (a new token), a plain value (the connector
  // or NOT text) or an object.
  using Value = std::variant<std::monostate, std::string, Object>;

  enumTokenType TokenType() const { return eTokenType_; }
  // The value as stored.
  const Value& TokenValue() const { return vToken_; }

  // The plain value; empty when the token holds an object or nothing.
  std::string Text() const;
  // The object held, if it is of the kind asked for; nullptr otherwise.
  std::shared_ptr<SimpleExpression> AsSimpleExpression() const { return Get<SimpleExpression>(); }
  std::shared_ptr<ComplexExpression> AsComplexExpression() const { return Get<ComplexExpression>(); }
  std::shared_ptr<TypedSimpleExpression> AsTypedSimpleExpression() const { return Get<TypedSimpleExpression>(); }
  std::shared_ptr<TypedComplexExpression> AsTypedComplexExpression() const {
    return Get<TypedComplexExpression>();
  }

  std::string ClassName() const { return "Token"; }
  std::string ClassVersion() const;

  // ---- For the classes of the component ----
  void SetTokenType(enumTokenType eTokenType) { eTokenType_ = eTokenType; }
  // Stores an object; the plain value, if any, is replaced.
  void SetTokenObject(Object oToken) { vToken_ = std::move(oToken); }
  // Stores a plain value; an object held before is let go.
  void SetTokenValue(std::string sToken) { vToken_ = std::move(sToken); }

 private:
  template <class T>
  std::shared_ptr<T> Get() const {
    if (const auto* object = std::get_if<Object>(&vToken_)) {
      if (const auto* held = std::get_if<std::shared_ptr<T>>(object)) return *held;
    }
    return nullptr;
  }

  enumTokenType eTokenType_ = eTTUnknown;
  Value vToken_;
};

}  // namespace vlq
