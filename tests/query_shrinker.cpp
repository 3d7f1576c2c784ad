#include "query_shrinker.h"

#include <algorithm>
#include <cctype>
#include <vector>

namespace vlq::test {
namespace {

// A word of the query with the blanks in front of it.
struct Piece {
  std::string Text;
  bool Fixed = false;
};

std::vector<Piece> Split(const std::string& text) {
  std::vector<Piece> pieces;
  std::size_t i = 0;
  while (i < text.size()) {
    const std::size_t start = i;
    while (i < text.size() && text[i] == ' ') ++i;
    if (i >= text.size()) {
      if (!pieces.empty()) pieces.back().Text += text.substr(start);
      break;
    }
    if (text[i] == '"') {
      ++i;
      while (i < text.size()) {
        if (text[i] == '"' && (i + 1 >= text.size() || text[i + 1] != '"')) {
          ++i;
          break;
        }
        i += text[i] == '"' ? 2 : 1;
      }
    } else if (text[i] == '(' || text[i] == ')' || text[i] == ',') {
      ++i;
    } else {
      while (i < text.size() && std::string_view(" (),\"").find(text[i]) == std::string_view::npos) ++i;
    }
    pieces.push_back({text.substr(start, i - start), false});
  }
  // The base section, "ReqType.<form>(...)" behind an optional COUNT, stays.
  std::size_t k = 0;
  const auto upper = [](std::string s) {
    for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return s;
  };
  if (k < pieces.size() && upper(pieces[k].Text).find("COUNT") != std::string::npos) ++k;
  if (k < pieces.size() && upper(pieces[k].Text).find("REQTYPE.") != std::string::npos) {
    for (; k < pieces.size(); ++k) {
      pieces[k].Fixed = true;
      if (pieces[k].Text.find(')') != std::string::npos) break;
    }
  }
  return pieces;
}

std::string Join(const std::vector<Piece>& pieces) {
  std::string out;
  for (const Piece& p : pieces) out += p.Text;
  const std::size_t first = out.find_first_not_of(' ');
  return first == std::string::npos ? std::string() : out.substr(first);
}

// Removes pieces [from, to); the blanks in front of the first go to the piece
// behind, so that two words don't run into one.
std::vector<Piece> Without(const std::vector<Piece>& pieces, std::size_t from, std::size_t to) {
  std::vector<Piece> out(pieces.begin(), pieces.begin() + static_cast<long>(from));
  const std::string& first = pieces[from].Text;
  const std::string blanks = first.substr(0, first.find_first_not_of(' '));
  for (std::size_t i = to; i < pieces.size(); ++i) {
    out.push_back(pieces[i]);
    if (i == to && out.back().Text.rfind(' ', 0) != 0) out.back().Text = blanks + out.back().Text;
  }
  return out;
}

bool IsOpen(const Piece& p) { return p.Text.find('(') != std::string::npos && p.Text.back() == '('; }
bool IsClose(const Piece& p) {
  return !p.Text.empty() && p.Text.back() == ')' && p.Text.find_first_not_of(" )") == std::string::npos;
}

}  // namespace

std::string ShrinkQuery(const std::string& text, const std::function<bool(const std::string&)>& fails, int budget) {
  std::vector<Piece> pieces = Split(text);
  const auto attempt = [&](const std::vector<Piece>& candidate) {
    if (budget <= 0) return false;
    --budget;
    return fails(Join(candidate));
  };
  bool changed = true;
  while (changed && budget > 0) {
    changed = false;
    // Runs of pieces, long ones first.
    for (std::size_t chunk = std::max<std::size_t>(pieces.size() / 2, 1); chunk >= 1 && budget > 0; chunk /= 2) {
      for (std::size_t start = 0; start + chunk <= pieces.size() && budget > 0;) {
        const bool fixed =
            std::any_of(pieces.begin() + static_cast<long>(start), pieces.begin() + static_cast<long>(start + chunk),
                        [](const Piece& p) { return p.Fixed; });
        std::vector<Piece> candidate = fixed ? pieces : Without(pieces, start, start + chunk);
        if (!fixed && attempt(candidate)) {
          pieces = std::move(candidate);
          changed = true;
        } else {
          start += chunk;
        }
      }
      if (chunk == 1) break;
    }
    // A pair of parentheses around what stays.
    for (std::size_t open = 0; open < pieces.size() && budget > 0; ++open) {
      if (pieces[open].Fixed || pieces[open].Text.find_first_not_of(' ') == std::string::npos ||
          pieces[open].Text.substr(pieces[open].Text.find_first_not_of(' ')) != "(") {
        continue;
      }
      long depth = 0;
      for (std::size_t close = open; close < pieces.size(); ++close) {
        if (IsOpen(pieces[close])) ++depth;
        if (IsClose(pieces[close]) && --depth == 0) {
          std::vector<Piece> candidate = Without(Without(pieces, close, close + 1), open, open + 1);
          if (attempt(candidate)) {
            pieces = std::move(candidate);
            changed = true;
          }
          break;
        }
      }
    }
  }
  return Join(pieces);
}

}  // namespace vlq::test
