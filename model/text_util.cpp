#include "model/text_util.h"

namespace vlq::text {

char UpperAscii(char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c; }

std::string Upper(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = UpperAscii(c);
  return out;
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (UpperAscii(a[i]) != UpperAscii(b[i])) return false;
  }
  return true;
}

bool StartsWithNoCase(std::string_view s, std::string_view prefix) {
  return s.size() >= prefix.size() && EqualsNoCase(s.substr(0, prefix.size()), prefix);
}

std::size_t FindNoCase(std::string_view hay, std::string_view needle, std::size_t from) {
  if (needle.empty()) return from <= hay.size() ? from : std::string_view::npos;
  if (needle.size() > hay.size()) return std::string_view::npos;
  const char first = UpperAscii(needle[0]);
  for (std::size_t i = from; i + needle.size() <= hay.size(); ++i) {
    if (UpperAscii(hay[i]) == first && EqualsNoCase(hay.substr(i, needle.size()), needle)) return i;
  }
  return std::string_view::npos;
}

std::string_view TrimView(std::string_view s) {
  std::size_t b = 0;
  std::size_t e = s.size();
  while (b < e && s[b] == ' ') ++b;
  while (e > b && s[e - 1] == ' ') --e;
  return s.substr(b, e - b);
}

std::string Trim(std::string_view s) { return std::string(TrimView(s)); }

std::string_view TrimLeftView(std::string_view s) {
  std::size_t b = 0;
  while (b < s.size() && s[b] == ' ') ++b;
  return s.substr(b);
}

bool IsDecimalWhole(std::string_view s) {
  s = TrimView(s);
  if (!s.empty() && (s[0] == '-' || s[0] == '+')) s.remove_prefix(1);
  if (s.empty()) return false;
  for (char c : s) {
    if (c < '0' || c > '9') return false;
  }
  return true;
}

}  // namespace vlq::text
