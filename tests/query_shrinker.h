#pragma once
// Makes a failing query small: drops words, parenthesised groups and pairs of
// parentheses for as long as the failure stays, so that a report can show the
// least text that still fails. The words keep the blanks in front of them, so
// that "PR.Criteria(" stays in one piece; the base section at the head of a
// query stays as it is, since the checks of an answer rest on its type.
//
//   std::string small = ShrinkQuery(text, [&](const std::string& q) { return StillFails(q); });

#include <functional>
#include <string>

namespace vlq::test {

// Gives the smallest text found for which `fails` holds (the text itself when
// nothing smaller does), asking `fails` at most `budget` times.
std::string ShrinkQuery(const std::string& text, const std::function<bool(const std::string&)>& fails,
                        int budget = 400);

}  // namespace vlq::test
