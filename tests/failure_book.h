#pragma once
// Failures of a generated-input test, grouped by class: how many inputs fell
// into each class, in which dialects, and the first few with what it takes to
// replay them. The report stays short however many inputs fail.
//
//   FailureBook book;
//   book.Add("Fetch throws: no such column", "dbms 1", "VLQ_PROPERTY_SEED=1 ...", "query text and detail");
//   if (!book.Empty()) ADD_FAILURE() << book.Report(3);

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace vlq::test {

class FailureBook {
 public:
  // cls: the class of the failure; each input counts once in a class, under
  // the key it is added with.
  void Add(const std::string& cls, const std::string& dialect, const std::string& inputKey,
           const std::string& example) {
    Entry& entry = classes_[cls];
    entry.Dialects.insert(dialect);
    if (entry.Inputs.insert(inputKey).second && entry.Examples.size() < kKeptExamples) {
      entry.Examples.push_back(example);
    }
  }

  bool Empty() const { return classes_.empty(); }
  std::size_t Count(const std::string& cls) const {
    const auto found = classes_.find(cls);
    return found == classes_.end() ? 0 : found->second.Inputs.size();
  }

  // The classes, most frequent first, each with up to `examples` examples.
  std::string Report(std::size_t examples) const {
    std::vector<std::pair<std::string, const Entry*>> order;
    for (const auto& [cls, entry] : classes_) order.emplace_back(cls, &entry);
    std::stable_sort(order.begin(), order.end(),
                     [](const auto& a, const auto& b) { return a.second->Inputs.size() > b.second->Inputs.size(); });
    std::ostringstream out;
    out << order.size() << " classes of failure\n";
    for (const auto& [cls, entry] : order) {
      out << "\n[" << entry->Inputs.size() << " inputs] " << cls << "\n  dialects:";
      for (const std::string& d : entry->Dialects) out << " {" << d << "}";
      out << "\n";
      for (std::size_t i = 0; i < entry->Examples.size() && i < examples; ++i)
        out << "  - " << entry->Examples[i] << "\n";
    }
    return out.str();
  }

  // The text with its line breaks shown as " | ", cut to `limit` characters.
  static std::string OneLine(std::string_view text, std::size_t limit) {
    std::string out;
    std::size_t i = 0;
    for (; i < text.size() && out.size() < limit; ++i) {
      if (text[i] == '\r') continue;
      out += text[i] == '\n' ? std::string(" | ") : std::string(1, text[i]);
    }
    if (i < text.size()) out += "...";
    return out;
  }

  // A message made into a class name: what stands behind " in: " (the
  // statement) goes, digits become N, and it is cut to a readable length.
  static std::string ClassOf(std::string_view message) {
    for (std::string_view cut : {" in: ", "\nStatement:", "\r\n", "\n"}) {
      const std::size_t at = message.find(cut);
      if (at != std::string_view::npos) message = message.substr(0, at);
    }
    std::string out;
    for (char c : message) {
      if (std::isdigit(static_cast<unsigned char>(c))) {
        if (out.empty() || out.back() != 'N') out += 'N';
      } else if (c == '\r' || c == '\n') {
        out += ' ';
      } else {
        out += c;
      }
    }
    if (out.size() > 120) out = out.substr(0, 120) + "...";
    return out;
  }

 private:
  static constexpr std::size_t kKeptExamples = 5;
  struct Entry {
    std::set<std::string> Dialects;
    std::set<std::string> Inputs;
    std::vector<std::string> Examples;
  };
  std::map<std::string, Entry> classes_;
};

}  // namespace vlq::test
