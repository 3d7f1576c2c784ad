#include "model/text_util.h"

#include <unicode/casemap.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <array>

namespace vlq::text {
namespace {

constexpr std::size_t npos = std::string_view::npos;

bool IsAscii(char c) { return static_cast<unsigned char>(c) < 0x80; }
char LowerAscii(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

// The characters of a text one at a time with their folded forms. A character
// folds to at most three characters (12 bytes). The folds of the characters
// met last on the thread are kept, as texts repeat their letters: a search
// through text beyond ASCII asks ICU about a letter once, not at every step.
class CharFolder {
 public:
  struct Char {
    std::size_t length;       // bytes in the text
    std::string_view folded;  // valid until the next call
  };

  // The character that starts at byte i of s (i < s.size()).
  Char At(std::string_view s, std::size_t i) {
    const char c = s[i];
    if (IsAscii(c)) {
      ascii_ = LowerAscii(c);
      return {1, {&ascii_, 1}};
    }
    // A UTF-8 character has at most 4 bytes; the window keeps the indices of
    // the decoder small whatever the length of s.
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(s.data() + i);
    const auto window = static_cast<std::int32_t>(std::min<std::size_t>(4, s.size() - i));
    std::int32_t end = 0;
    UChar32 codePoint = 0;
    U8_NEXT(bytes, end, window, codePoint);
    if (codePoint >= 0) {
      Slot& slot = slots_[static_cast<std::size_t>(codePoint) % slots_.size()];
      if (slot.codePoint != codePoint) {
        UErrorCode status = U_ZERO_ERROR;
        const std::int32_t n = icu::CaseMap::utf8Fold(U_FOLD_CASE_DEFAULT, s.data() + i, end, slot.folded.data(),
                                                      static_cast<std::int32_t>(slot.folded.size()), nullptr, status);
        slot.codePoint = U_SUCCESS(status) ? codePoint : -1;
        slot.length = U_SUCCESS(status) ? static_cast<std::size_t>(n) : 0;
      }
      if (slot.codePoint == codePoint) return {static_cast<std::size_t>(end), {slot.folded.data(), slot.length}};
    }
    // A byte of no well-formed character stands for itself alone.
    ascii_ = c;
    return {1, {&ascii_, 1}};
  }

 private:
  struct Slot {
    UChar32 codePoint = -1;
    std::size_t length = 0;
    std::array<char, 16> folded{};
  };
  using Slots = std::array<Slot, 64>;
  static Slots& ThreadSlots() {
    thread_local Slots slots;
    return slots;
  }
  char ascii_ = 0;
  Slots& slots_ = ThreadSlots();
};

// Where in hay a match of the folded text starting at byte i ends, or npos
// when the characters from i don't fold to exactly that text.
std::size_t MatchEnd(std::string_view hay, std::size_t i, std::string_view folded, CharFolder& folder) {
  std::size_t k = 0;
  while (k < folded.size()) {
    if (i >= hay.size()) return npos;
    if (IsAscii(hay[i])) {
      if (LowerAscii(hay[i]) != folded[k]) return npos;
      ++i;
      ++k;
      continue;
    }
    const CharFolder::Char c = folder.At(hay, i);
    if (c.folded.size() > folded.size() - k || folded.compare(k, c.folded.size(), c.folded) != 0) return npos;
    i += c.length;
    k += c.folded.size();
  }
  return i;
}

}  // namespace

std::string Fold(std::string_view s) {
  std::string out;
  out.reserve(s.size());
  CharFolder folder;
  for (std::size_t i = 0; i < s.size();) {
    if (IsAscii(s[i])) {
      out += LowerAscii(s[i++]);
      continue;
    }
    const CharFolder::Char c = folder.At(s, i);
    out += c.folded;
    i += c.length;
  }
  return out;
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
  // ASCII heads compare byte by byte; from the first other byte on, the
  // folded rests decide.
  std::size_t i = 0;
  while (i < a.size() && i < b.size() && IsAscii(a[i]) && IsAscii(b[i])) {
    if (LowerAscii(a[i]) != LowerAscii(b[i])) return false;
    ++i;
  }
  if (i == a.size() || i == b.size()) return a.size() == b.size();
  return Fold(a.substr(i)) == Fold(b.substr(i));
}

bool StartsWithNoCase(std::string_view s, std::string_view prefix, std::size_t* matchLength) {
  CharFolder folder;
  const std::size_t end = MatchEnd(s, 0, Fold(prefix), folder);
  if (end == npos) return false;
  if (matchLength != nullptr) *matchLength = end;
  return true;
}

std::size_t FindNoCase(std::string_view hay, std::string_view needle, std::size_t from, std::size_t* matchLength) {
  if (from > hay.size()) return npos;
  const std::string folded = Fold(needle);
  if (folded.empty()) {
    if (matchLength != nullptr) *matchLength = 0;
    return from;
  }
  const char first = folded[0];
  CharFolder folder;
  for (std::size_t i = from; i < hay.size();) {
    std::size_t length = 1;
    bool candidate = false;
    if (IsAscii(hay[i])) {
      candidate = LowerAscii(hay[i]) == first;
    } else {
      const CharFolder::Char c = folder.At(hay, i);
      candidate = c.folded[0] == first;
      length = c.length;
    }
    if (candidate) {
      const std::size_t end = MatchEnd(hay, i, folded, folder);
      if (end != npos) {
        if (matchLength != nullptr) *matchLength = end - i;
        return i;
      }
    }
    i += length;
  }
  return npos;
}

char UpperAscii(char c) { return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c; }

std::string Upper(std::string_view s) {
  std::string out(s);
  for (char& c : out) c = UpperAscii(c);
  return out;
}

bool EqualsNoCaseAscii(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (UpperAscii(a[i]) != UpperAscii(b[i])) return false;
  }
  return true;
}

std::size_t FindNoCaseAscii(std::string_view hay, std::string_view needle, std::size_t from) {
  if (needle.empty()) return from <= hay.size() ? from : npos;
  if (needle.size() > hay.size()) return npos;
  const char first = UpperAscii(needle[0]);
  for (std::size_t i = from; i + needle.size() <= hay.size(); ++i) {
    if (UpperAscii(hay[i]) == first && EqualsNoCaseAscii(hay.substr(i, needle.size()), needle)) return i;
  }
  return npos;
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
