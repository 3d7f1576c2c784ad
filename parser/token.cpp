#include "parser/token.h"

#include "engine/mod_main.h"

namespace vlq {

std::string Token::Text() const {
  const auto* text = std::get_if<std::string>(&vToken_);
  return text ? *text : std::string();
}

std::string Token::ClassVersion() const { return modMain::ComponentVersion(); }

}  // namespace vlq
