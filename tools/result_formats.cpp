#include "result_formats.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ostream>

#include "model/text_util.h"

namespace vlq::tools {
namespace {

constexpr std::string_view kEllipsis = "\xE2\x80\xA6";  // "…"

// Line breaks and tabs of a value would break a line of a table or a tree.
std::string OneLine(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (char c : text) out += (c == '\n' || c == '\r' || c == '\t') ? ' ' : c;
  return out;
}

// The longest start of text that takes at most `width` characters.
std::string Cut(const std::string& text, std::size_t width) {
  if (DisplayWidth(text) <= width) return text;
  if (width == 0) return {};
  std::size_t taken = 0;
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t next = at + 1;
    while (next < text.size() && (static_cast<unsigned char>(text[next]) & 0xC0) == 0x80) ++next;
    if (taken + 1 > width - 1) break;
    ++taken;
    at = next;
  }
  return text.substr(0, at) + std::string(kEllipsis);
}

std::string CsvField(const std::string& value) {
  if (value.find_first_of(",\"\r\n") == std::string::npos) return value;
  std::string out = "\"";
  for (char c : value) {
    if (c == '"') out += '"';
    out += c;
  }
  return out + "\"";
}

std::string JsonString(std::string_view value) {
  std::string out = "\"";
  for (char c : value) {
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          char buffer[8];
          std::snprintf(buffer, sizeof buffer, "\\u%04x", static_cast<unsigned>(static_cast<unsigned char>(c)));
          out += buffer;
        } else {
          out += c;
        }
    }
  }
  return out + "\"";
}

void WriteTable(const ResultTable& table, std::ostream& out, int width) {
  const std::size_t columns = table.Headers.size();
  std::vector<std::vector<std::string>> cells;
  std::vector<std::size_t> widths(columns, 0);
  for (std::size_t c = 0; c < columns; ++c) widths[c] = DisplayWidth(table.Headers[c]);
  for (const auto& row : table.Rows) {
    std::vector<std::string> line;
    for (std::size_t c = 0; c < columns; ++c) {
      line.push_back(row[c] ? OneLine(*row[c]) : std::string());
      widths[c] = std::max(widths[c], DisplayWidth(line.back()));
    }
    cells.push_back(std::move(line));
  }
  // Narrow the widest column, one character at a time, until the table fits;
  // the key and no column under its header's width (or 6) gives way.
  const std::size_t gaps = columns > 0 ? 2 * (columns - 1) : 0;
  auto total = [&] {
    std::size_t sum = gaps;
    for (std::size_t w : widths) sum += w;
    return sum;
  };
  while (width > 0 && total() > static_cast<std::size_t>(width)) {
    std::size_t widest = columns;
    for (std::size_t c = 0; c < columns; ++c) {
      if (c == table.KeyColumn) continue;
      const std::size_t floor = std::max<std::size_t>(6, std::min<std::size_t>(DisplayWidth(table.Headers[c]), 12));
      if (widths[c] <= floor) continue;
      if (widest == columns || widths[c] > widths[widest]) widest = c;
    }
    if (widest == columns) break;
    --widths[widest];
  }
  auto writeLine = [&](const std::vector<std::string>& line) {
    std::string text;
    for (std::size_t c = 0; c < columns; ++c) {
      const std::string cell = Cut(line[c], widths[c]);
      text += cell;
      if (c + 1 < columns) text += std::string(widths[c] - DisplayWidth(cell) + 2, ' ');
    }
    while (!text.empty() && text.back() == ' ') text.pop_back();
    out << text << '\n';
  };
  writeLine(table.Headers);
  std::vector<std::string> rule;
  for (std::size_t c = 0; c < columns; ++c) rule.push_back(std::string(widths[c], '-'));
  writeLine(rule);
  for (const auto& line : cells) writeLine(line);
}

}  // namespace

std::size_t DisplayWidth(std::string_view text) {
  std::size_t count = 0;
  for (char c : text) {
    if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) ++count;
  }
  return count;
}

std::optional<ResultFormat> ParseResultFormat(std::string_view name) {
  const std::string word = text::Upper(name);
  if (word == "KEYS") return ResultFormat::Keys;
  if (word == "TABLE") return ResultFormat::Table;
  if (word == "CSV") return ResultFormat::Csv;
  if (word == "JSON") return ResultFormat::Json;
  if (word == "TREE") return ResultFormat::Tree;
  return std::nullopt;
}

int OutputWidth() {
  if (const char* columns = std::getenv("COLUMNS")) {
    const std::string text = vlq::text::Trim(columns);
    if (vlq::text::IsDecimalWhole(text) && text.size() < 6 && std::stoi(text) > 0) return std::stoi(text);
  }
  winsize size{};
  if (::isatty(STDOUT_FILENO) && ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
    return size.ws_col;
  }
  return 120;
}

void WriteResults(ResultFormat format, const ResultTable& table, std::ostream& out, int width) {
  switch (format) {
    case ResultFormat::Keys:
      for (const auto& row : table.Rows) out << (row[table.KeyColumn] ? *row[table.KeyColumn] : std::string()) << '\n';
      break;
    case ResultFormat::Table:
      WriteTable(table, out, width);
      break;
    case ResultFormat::Csv: {
      auto record = [&](const std::vector<std::optional<std::string>>& fields) {
        for (std::size_t c = 0; c < fields.size(); ++c) {
          if (c > 0) out << ',';
          if (fields[c]) out << CsvField(*fields[c]);
        }
        out << "\r\n";
      };
      std::vector<std::optional<std::string>> header(table.Headers.begin(), table.Headers.end());
      record(header);
      for (const auto& row : table.Rows) record(row);
      break;
    }
    case ResultFormat::Json: {
      out << '[';
      for (std::size_t r = 0; r < table.Rows.size(); ++r) {
        out << (r == 0 ? "\n  {" : ",\n  {");
        const auto& row = table.Rows[r];
        for (std::size_t c = 0; c < table.Headers.size(); ++c) {
          if (c > 0) out << ", ";
          out << JsonString(table.Headers[c]) << ": ";
          if (!row[c]) {
            out << "null";
          } else if (c == table.KeyColumn && text::IsDecimalWhole(*row[c])) {
            out << *row[c];
          } else {
            out << JsonString(*row[c]);
          }
        }
        out << '}';
      }
      out << (table.Rows.empty() ? "]\n" : "\n]\n");
      break;
    }
    case ResultFormat::Tree:
      for (std::size_t r = 0; r < table.Rows.size(); ++r) {
        const auto& row = table.Rows[r];
        std::string line(2 * static_cast<std::size_t>(std::max(0, table.Levels[r] - 1)), ' ');
        // The tag (or the key where there is none), then the rest but the type.
        const bool tagged = table.Headers.size() > 1 && table.Headers[1] == "tag" && row[1];
        line += tagged ? *row[1] : (row[table.KeyColumn] ? *row[table.KeyColumn] : std::string());
        for (std::size_t c = 1; c < row.size(); ++c) {
          if (table.Headers[c] == "tag" || table.Headers[c] == "type" || !row[c]) continue;
          line += "  " + OneLine(*row[c]);
        }
        out << line << '\n';
      }
      break;
  }
}

}  // namespace vlq::tools
