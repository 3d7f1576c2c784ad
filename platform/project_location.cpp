#include "platform/project_location.h"

#include <libpq-fe.h>

#include <filesystem>
#include <memory>

#include "model/text_util.h"
#include "services/failure.h"

namespace vlq::platform {
namespace {

constexpr const char* kSource = "ProjectLocation";

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string PercentDecoded(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && HexDigit(text[i + 1]) >= 0 && HexDigit(text[i + 2]) >= 0) {
      out += static_cast<char>(HexDigit(text[i + 1]) * 16 + HexDigit(text[i + 2]));
      i += 2;
    } else {
      out += text[i];
    }
  }
  return out;
}

std::string LowerAscii(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return out;
}

std::string FoldedSchema(std::string_view name) {
  if (!IsPlainSchemaName(name)) {
    throw Failure(kFailureBadLocation, kSource,
                  "\"" + std::string(name) +
                      "\" is no schema name for a project: use letters, digits and \"_\", not starting with a "
                      "digit or \"pg_\"");
  }
  return LowerAscii(name);
}

struct ConninfoDeleter {
  void operator()(PQconninfoOption* options) const { PQconninfoFree(options); }
};
using Conninfo = std::unique_ptr<PQconninfoOption, ConninfoDeleter>;

std::string OptionValue(const PQconninfoOption* options, std::string_view keyword) {
  for (const PQconninfoOption* o = options; o && o->keyword; ++o) {
    if (keyword == o->keyword) return o->val ? o->val : "";
  }
  return {};
}

}  // namespace

bool IsServerLocation(std::string_view location) {
  return text::StartsWithNoCase(location, "postgresql://") || text::StartsWithNoCase(location, "postgres://");
}

bool IsPlainSchemaName(std::string_view name) {
  // The server keeps 63 bytes of a name.
  if (name.empty() || name.size() > 63) return false;
  if (name[0] >= '0' && name[0] <= '9') return false;
  if (text::StartsWithNoCase(name, "pg_")) return false;
  for (char c : name) {
    const bool ok = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
    if (!ok) return false;
  }
  return true;
}

ServerLocation ParseServerLocation(std::string_view uri) {
  ServerLocation location;
  const std::size_t query = uri.find('?');
  location.ConnectionUri = std::string(uri.substr(0, query));
  std::string schema;
  bool bSchemaSeen = false;
  std::string rest;
  if (query != std::string_view::npos) {
    std::string_view params = uri.substr(query + 1);
    while (!params.empty()) {
      const std::size_t amp = params.find('&');
      const std::string_view param = params.substr(0, amp);
      params = amp == std::string_view::npos ? std::string_view() : params.substr(amp + 1);
      if (param.empty()) continue;
      const std::size_t eq = param.find('=');
      if (text::EqualsNoCase(PercentDecoded(param.substr(0, eq)), "schema")) {
        if (bSchemaSeen)
          throw Failure(kFailureBadLocation, kSource, "The URI names the schema twice: " + std::string(uri));
        bSchemaSeen = true;
        schema = eq == std::string_view::npos ? std::string() : PercentDecoded(param.substr(eq + 1));
        continue;
      }
      rest += (rest.empty() ? "" : "&") + std::string(param);
    }
  }
  if (!rest.empty()) location.ConnectionUri += "?" + rest;
  location.Schema = FoldedSchema(bSchemaSeen ? schema : "public");
  return location;
}

std::string ServerLocation::Uri() const {
  return ConnectionUri + (ConnectionUri.find('?') == std::string::npos ? "?" : "&") + "schema=" + Schema;
}

ServerLocation ServerLocation::WithSchema(std::string_view schema) const {
  ServerLocation other = *this;
  other.Schema = FoldedSchema(schema);
  return other;
}

std::string ServerLocation::Identity() const {
  char* error = nullptr;
  Conninfo given(PQconninfoParse(ConnectionUri.c_str(), &error));
  if (!given) {
    std::string message = error ? error : "out of memory";
    PQfreemem(error);
    while (!message.empty() && message.back() == '\n') message.pop_back();
    throw Failure(kFailureBadLocation, kSource, "Can't read the URI " + ConnectionUri + ": " + message);
  }
  Conninfo defaults(PQconndefaults());
  auto value = [&](std::string_view keyword) {
    std::string v = OptionValue(given.get(), keyword);
    return v.empty() ? OptionValue(defaults.get(), keyword) : v;
  };
  std::string database = value("dbname");
  if (database.empty()) database = value("user");
  std::string host = value("host");
  if (host.empty()) host = value("hostaddr");
  return "postgresql://" + host + ":" + value("port") + "/" + database + "?schema=" + Schema;
}

std::string ReferencedLocation(std::string_view referringLocation, std::string_view path, std::string_view fileName) {
  try {
    if (IsServerLocation(fileName)) return std::string(fileName);
    if (IsServerLocation(path)) {
      const ServerLocation database = ParseServerLocation(path);
      return fileName.empty() ? database.Uri() : database.WithSchema(fileName).Uri();
    }
    if (fileName.empty()) return {};
    const std::filesystem::path dir(path);
    if (dir.is_absolute()) return (dir / fileName).lexically_normal().string();
    if (IsServerLocation(referringLocation)) {
      if (!path.empty()) return {};
      return ParseServerLocation(referringLocation).WithSchema(fileName).Uri();
    }
    const std::filesystem::path base = std::filesystem::absolute(referringLocation).parent_path();
    return (base / dir / fileName).lexically_normal().string();
  } catch (const Failure&) {
    return {};
  }
}

std::string LocationIdentity(std::string_view location) {
  if (IsServerLocation(location)) return ParseServerLocation(location).Identity();
  const std::filesystem::path file(location);
  std::error_code ec;
  auto canonical = std::filesystem::weakly_canonical(std::filesystem::absolute(file, ec), ec);
  if (ec) return std::filesystem::absolute(file).lexically_normal().string();
  return canonical.string();
}

}  // namespace vlq::platform
