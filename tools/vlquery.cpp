// vlquery: the command-line face of the query engine. Results go to standard
// output, messages to standard error, and the exit status tells a script what
// happened: 0 success, 1 the engine refused the query, 2 wrong usage, 3 an
// unexpected failure (database, file).

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>
#include <string>

#include "demo_project.h"
#include "engine/version.h"
#include "model/text_util.h"
#include "platform/locale_services.h"
#include "platform/project_location.h"
#include "platform/store_project_manager.h"
#include "query_commands.h"
#include "reqif_commands.h"
#include "services/components.h"
#include "services/failure.h"
#include "store_commands.h"

namespace {

using vlq::tools::kExitFailure;
using vlq::tools::kExitSuccess;
using vlq::tools::kExitUsage;

// The settings of the platform, with logging switched on for this run: the
// engine reads bit 0 of the output mode when an engine is made.
class LoggingOnSettings : public vlq::SettingsStore {
 public:
  explicit LoggingOnSettings(std::shared_ptr<vlq::SettingsStore> inner) : inner_(std::move(inner)) {}
  std::string GetSetting(std::string_view sApplication, std::string_view sSection, std::string_view sKey,
                         std::string_view sDefault) const override {
    std::string value = inner_ ? inner_->GetSetting(sApplication, sSection, sKey, sDefault) : std::string(sDefault);
    if (vlq::text::EqualsNoCase(sApplication, "VlQueryEngine") && vlq::text::EqualsNoCase(sSection, "Output") &&
        vlq::text::EqualsNoCase(sKey, "Mode")) {
      const std::string trimmed = vlq::text::Trim(value);
      const long mode = vlq::text::IsDecimalWhole(trimmed) ? std::stol(trimmed) : 0;
      value = std::to_string(mode | 1);
    }
    return value;
  }

 private:
  std::shared_ptr<vlq::SettingsStore> inner_;
};

struct QueryArgs {
  std::string file;
  std::string query;
  std::string by = "prefix";
  bool discussions = false;
  bool documents = false;
  bool hierarchy = false;
  std::string user;
  std::string dialect;
  std::string schema;
  std::string locale;
  std::string log;
  std::string queryFile;
  std::string format = "keys";
  std::string columns;
  CLI::Option* queryOption = nullptr;
};

void AddQueryOptions(CLI::App& command, QueryArgs& args, bool withHierarchy) {
  command.add_option("FILE", args.file, "The project: a file (.vlp) or a postgresql:// URI")->required();
  args.queryOption = command.add_option(
      "QUERY", args.query, "The query; \"\" is the query for all items, - reads it from standard input");
  command.add_option("--query-file", args.queryFile, "Read the query from FILE (instead of QUERY)")
      ->type_name("FILE");
  command.add_option("--by", args.by, "Lookup type of the names in the query (default prefix)")
      ->check(CLI::IsMember({"prefix", "key", "guid"}, CLI::ignore_case));
  auto* discussions = command.add_flag("--discussions", args.discussions, "Query discussions");
  auto* documents = command.add_flag("--documents", args.documents, "Query documents");
  discussions->excludes(documents);
  if (withHierarchy) {
    command.add_flag("--hierarchy", args.hierarchy, "Retain the hierarchy: tree order, with the ancestors of every hit");
    command
        .add_option("--format", args.format,
                    "keys (default), table, csv, json or tree (tree order, indented; implies --hierarchy)")
        ->check(CLI::IsMember({"keys", "table", "csv", "json", "tree"}, CLI::ignore_case));
    command.add_option("--columns", args.columns, "Further columns: attribute labels, and identifier (the ReqIF one)")
        ->type_name("LABEL,...");
  }
  command.add_option("--user", args.user, "The current user, by name or key (default: the user with the lowest key)")
      ->type_name("NAME|KEY");
  command
      .add_option("--dialect", args.dialect,
                  "Write the SQL for another database: access, access2, oracle, sqlserver, db2 or postgresql")
      ->check(CLI::IsMember({"access", "access2", "oracle", "sqlserver", "db2", "postgresql"}, CLI::ignore_case));
  command.add_option("--schema", args.schema,
                     "The database schema of the SQL text, e.g. PROJ1 (the closing dot is added when missing)")
      ->type_name("NAME");
  command
      .add_option("--locale", args.locale,
                  "The locale of numbers and dates in the query, a language tag: en-US (default), de-CH, ja-JP, ...")
      ->type_name("NAME");
  command.add_option("--log", args.log, "Write the engine's events to FILE, or to standard error with -")
      ->type_name("FILE|-");
}

// The connection property "dbmsnamecode" of a dialect name.
std::string DialectCodeOf(const std::string& dialect) {
  static const std::map<std::string, std::string> codes{{"ACCESS", "1"},    {"ACCESS2", "4"}, {"ORACLE", "3"},
                                                        {"SQLSERVER", "5"}, {"DB2", "7"},     {"POSTGRESQL", "8"}};
  const auto found = codes.find(vlq::text::Upper(dialect));
  return found == codes.end() ? std::string() : found->second;
}

vlq::enumQueryLookupTypes LookupTypeOf(const std::string& by) {
  const std::string word = vlq::text::Upper(by);
  if (word == "KEY") return vlq::eQLTByKey;
  if (word == "GUID") return vlq::eQLTByGUID;
  return vlq::eQLTByPrefix;
}

// Installs the components that the options choose: the locale and the event
// log. False, with a message, for a locale that the platform doesn't know.
bool InstallComponents(const QueryArgs& args) {
  vlq::ComponentFactories factories;
  if (!args.log.empty()) {
    // The platform's event log sends the events to the file that
    // VLQUERYENGINE_LOG names; the settings switch logging on.
    ::setenv("VLQUERYENGINE_LOG", args.log.c_str(), 1);
    factories.settingsStore = [] {
      return std::make_shared<LoggingOnSettings>(vlq::DefaultComponentFactories().settingsStore());
    };
  }
  if (!args.locale.empty()) {
    std::shared_ptr<vlq::LocaleServices> locale;
    try {
      locale = vlq::platform::MakeLocaleServices(args.locale);
    } catch (const std::exception&) {
      locale = nullptr;
    }
    if (!locale) {
      std::cerr << "vlquery: unknown locale: " << args.locale << '\n';
      return false;
    }
    factories.localeServices = [locale] { return locale; };
  }
  vlq::InstallComponentFactories(std::move(factories));
  return true;
}

// The query text: the QUERY argument, standard input for "-", or the file of
// --query-file. False, with a message, when neither or both are given or the
// file can't be read.
bool ReadQueryText(const QueryArgs& args, std::string& query) {
  const bool given = args.queryOption && args.queryOption->count() > 0;
  if (given == !args.queryFile.empty()) {
    std::cerr << "vlquery: give the query either as QUERY or with --query-file\n";
    return false;
  }
  if (!args.queryFile.empty()) {
    std::ifstream in(args.queryFile, std::ios::binary);
    if (!in) {
      std::cerr << "vlquery: can't read the query file " << args.queryFile << '\n';
      return false;
    }
    query.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  } else if (args.query == "-") {
    query.assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
  } else {
    query = args.query;
    return true;
  }
  // The line end that closes a file is no part of the query.
  while (!query.empty() && (query.back() == '\n' || query.back() == '\r')) query.pop_back();
  return true;
}

bool MakeRequest(const QueryArgs& args, vlq::tools::QueryRequest& request) {
  if (!InstallComponents(args)) return false;
  request.File = args.file;
  if (!ReadQueryText(args, request.Query)) return false;
  request.LookupType = LookupTypeOf(args.by);
  request.ReturnType = args.discussions ? vlq::eBTDiscussions : args.documents ? vlq::eBTDocuments : vlq::eBTRequirements;
  request.RetainHierarchy = args.hierarchy;
  request.User = args.user;
  request.DialectCode = DialectCodeOf(args.dialect);
  if (!args.schema.empty()) {
    request.SchemaGiven = true;
    request.Schema = args.schema.ends_with('.') ? args.schema : args.schema + ".";
  }
  request.Format = vlq::tools::ParseResultFormat(args.format).value_or(vlq::tools::ResultFormat::Keys);
  if (request.Format == vlq::tools::ResultFormat::Tree) request.RetainHierarchy = true;
  std::stringstream columns(args.columns);
  for (std::string column; std::getline(columns, column, ',');) {
    const std::string label = vlq::text::Trim(column);
    if (!label.empty()) request.Columns.push_back(label);
  }
  return true;
}

int RunQuery(vlq::tools::QueryCommand command, const QueryArgs& args) {
  vlq::tools::QueryRequest request;
  if (!MakeRequest(args, request)) return kExitUsage;
  return vlq::tools::RunQueryCommand(command, request, std::cout, std::cerr);
}

// The progress of `demo` on a terminal: one line per phase, rewritten in place.
void ShowProgress(const std::string& phase, long done, long total) {
  static std::string shownPhase;
  static long shownPercent = -1;
  const long percent = total > 0 ? done * 100 / total : 100;
  if (phase == shownPhase && percent == shownPercent && done < total) return;
  shownPhase = phase;
  shownPercent = percent;
  std::fprintf(stderr, "\r%-24s %3ld%%", phase.c_str(), percent);
  if (done >= total) std::fputc('\n', stderr);
  std::fflush(stderr);
}

// The progress of import and export on a terminal, in the same form.
void ShowLongProgress(const std::string& phase, long long done, long long total) {
  ShowProgress(phase, static_cast<long>(total > 0 ? done * 1000 / total : 1000), 1000);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"vlquery: query requirements projects with the Velarit Query Language", "vlquery"};
  app.require_subcommand(1);
  app.set_version_flag("--version", std::string("vlquery ") + VLQ_VERSION_TEXT);
  app.footer(
      "Exit status: 0 success, 1 the engine refused the query (\"error <code>: <message>\" on standard error),\n"
      "2 wrong usage, 3 an unexpected failure (database, file). Each command takes --help.");

  // create
  std::string createFile;
  vlq::platform::NewProjectInfo createInfo;
  auto* create = app.add_subcommand("create", "Write an empty project: the schema and the project row, nothing else");
  create->add_option("FILE", createFile, "The new project: a file (.vlp) or a postgresql:// URI")->required();
  create->add_option("--key", createInfo.Key, "The project key (default 1)")->check(CLI::Range(1L, 2147483647L));
  create->add_option("--prefix", createInfo.Prefix, "The project prefix (default PRJ)");
  create->add_option("--name", createInfo.Name, "The project name (default Project)");
  create->add_option("--guid", createInfo.GUID, "The project GUID (default: a new one)");

  // demo
  std::string demoFile;
  vlq::tools::DemoOptions demoOptions;
  auto* demo = app.add_subcommand("demo", "Write a sample project and the external project beside it");
  demo->add_option("FILE", demoFile,
                   "The new project: a file (.vlp), its external project <stem>-ext.vlp beside it, or a "
                   "postgresql:// URI, its external project in the schema <schema>_ext")
      ->required();
  demo->add_option("--requirements", demoOptions.Requirements, "Requirements of the main project (default 200)")
      ->check(CLI::Range(1L, 100000000L));
  demo->add_option("--seed", demoOptions.Seed, "Seed of the generator: the same seed gives the same project");

  // copy
  std::string copyFrom;
  std::string copyTo;
  bool copyReplace = false;
  auto* copy = app.add_subcommand(
      "copy", "Copy a project and its external projects into another store: a file or a postgresql:// URI");
  copy->add_option("FROM", copyFrom, "The project to copy")->required();
  copy->add_option("TO", copyTo, "Where the copy goes; its external projects go beside it")->required();
  copy->add_flag("--replace", copyReplace, "Replace projects that exist there (else nothing is copied)");

  // import
  vlq::tools::ImportRequest importRequest;
  auto* import = app.add_subcommand("import", "Make a new project from a ReqIF file (.reqif) or archive (.reqifz)");
  import->add_option("SOURCE", importRequest.Source, "The ReqIF file or archive")->required();
  import->add_option("FILE", importRequest.Project, "The new project file (.vlp)")->required();
  import->add_flag("--replace", importRequest.Replace, "Replace the project file if it exists");
  import->add_flag("--skip-invalid-values", importRequest.SkipInvalidValues,
                   "Leave values that break their data type out (counted in the summary) instead of refusing the file");

  // export
  QueryArgs exportArgs;
  vlq::tools::ExportRequest exportRequest;
  auto* exportCommand = app.add_subcommand("export", "Write the requirements a query selects to a ReqIF file");
  AddQueryOptions(*exportCommand, exportArgs, false);
  exportCommand->add_option("TARGET", exportRequest.Target, "The ReqIF file to write (.reqif)");

  // the query commands
  QueryArgs queryArgs;
  struct QueryCommandDef {
    const char* name;
    const char* help;
    vlq::tools::QueryCommand command;
  };
  const QueryCommandDef queryCommands[] = {
      {"fetch", "Run the query and print the keys it finds, one per line", vlq::tools::QueryCommand::Fetch},
      {"validate", "Check the query and print what the engine reports (its SQL, or the message)",
       vlq::tools::QueryCommand::Validate},
      {"check", "Check the query without making SQL and print what the engine reports",
       vlq::tools::QueryCommand::Check},
      {"build", "Print the query's text by prefix, by key and by GUID, and each expression's build error",
       vlq::tools::QueryCommand::Build},
      {"sql", "Print the statement that the engine makes for the query, without running it",
       vlq::tools::QueryCommand::Sql},
  };
  std::map<CLI::App*, vlq::tools::QueryCommand> commandOf;
  for (const QueryCommandDef& def : queryCommands) {
    auto* sub = app.add_subcommand(def.name, def.help);
    AddQueryOptions(*sub, queryArgs, def.command == vlq::tools::QueryCommand::Fetch);
    commandOf[sub] = def.command;
  }

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    // Help goes to standard output with status 0; every other parse error is
    // wrong usage.
    return app.exit(e) == 0 ? kExitSuccess : kExitUsage;
  }

  try {
    if (create->parsed()) {
      vlq::platform::CreateProject(createFile, createInfo);
      return kExitSuccess;
    }
    if (copy->parsed()) return vlq::tools::RunCopy(copyFrom, copyTo, copyReplace, std::cout);
    if (demo->parsed()) {
      if (::isatty(STDERR_FILENO)) demoOptions.Progress = ShowProgress;
      if (vlq::platform::IsServerLocation(demoFile)) {
        for (const std::string& line : vlq::tools::MakeDemoOnServer(demoFile, demoOptions)) std::cout << line << '\n';
        return kExitSuccess;
      }
      const vlq::tools::DemoSummary summary = vlq::tools::MakeDemoProject(demoFile, demoOptions);
      std::cout << summary.MainFile.string() << ": " << summary.Requirements << " requirements, " << summary.Traces
                << " traces, " << summary.Discussions << " discussions\n"
                << summary.ExtFile.string() << ": " << summary.ExtRequirements
                << " requirements (external project EXT)\n";
      return kExitSuccess;
    }
    if (import->parsed()) {
      if (::isatty(STDERR_FILENO)) importRequest.Progress = ShowLongProgress;
      return vlq::tools::RunImport(importRequest, std::cout, std::cerr);
    }
    if (exportCommand->parsed()) {
      // With --query-file the arguments are FILE and TARGET: the second one
      // was taken for the query.
      if (!exportArgs.queryFile.empty() && exportRequest.Target.empty() && exportArgs.queryOption->count() > 0) {
        exportRequest.Target = exportArgs.query;
        exportArgs.queryOption = nullptr;
      }
      if (exportRequest.Target.empty()) {
        std::cerr << "vlquery: TARGET is required\n";
        return kExitUsage;
      }
      if (!MakeRequest(exportArgs, exportRequest.Query)) return kExitUsage;
      if (::isatty(STDERR_FILENO)) exportRequest.Progress = ShowLongProgress;
      return vlq::tools::RunExport(exportRequest, std::cout, std::cerr);
    }
    for (const auto& [sub, command] : commandOf) {
      if (sub->parsed()) {
        // Every query command fills the same arguments; the query is its own.
        QueryArgs args = queryArgs;
        args.queryOption = sub->get_option("QUERY");
        return RunQuery(command, args);
      }
    }
  } catch (const vlq::Failure& failure) {
    std::cout.flush();
    std::cerr << "failure " << failure.Number() << " in " << failure.Source() << ": " << failure.Description()
              << '\n';
    return kExitFailure;
  } catch (const std::exception& e) {
    std::cout.flush();
    std::cerr << "failure " << vlq::kUnexpectedFailureNumber << " in vlquery: " << e.what() << '\n';
    return kExitFailure;
  }
  return kExitUsage;
}
