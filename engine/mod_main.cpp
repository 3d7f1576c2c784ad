#include "engine/mod_main.h"

#include <dlfcn.h>

#include <filesystem>
#include <mutex>

#include "engine/version.h"
#include "model/text_util.h"

namespace vlq {
namespace {

std::mutex g_factoriesMutex;
ComponentFactories& Factories() {
  static ComponentFactories factories = DefaultComponentFactories();
  return factories;
}
ComponentFactories CurrentFactories() {
  std::lock_guard lock(g_factoriesMutex);
  return Factories();
}

struct ThreadState {
  bool started = false;
  std::shared_ptr<MessageCatalogue> catalogue;
  long outputMode = 0;
  enumQueryLookupTypes lookupType = eQLTNone;
  std::shared_ptr<LocaleServices> locale;
  std::shared_ptr<EventLog> eventLog;
};
thread_local ThreadState t_state;

// The directory of the component: where its shared library lies.
std::string ComponentDirectory() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(&ComponentDirectory), &info) != 0 && info.dli_fname != nullptr) {
    return std::filesystem::path(info.dli_fname).parent_path().string();
  }
  return ".";
}

}  // namespace

void InstallComponentFactories(ComponentFactories factories) {
  std::lock_guard lock(g_factoriesMutex);
  ComponentFactories& current = Factories();
  if (factories.messageCatalogue) current.messageCatalogue = std::move(factories.messageCatalogue);
  if (factories.settingsStore) current.settingsStore = std::move(factories.settingsStore);
  if (factories.eventLog) current.eventLog = std::move(factories.eventLog);
  if (factories.localeServices) current.localeServices = std::move(factories.localeServices);
  // The calling thread takes the new components at its next use.
  t_state = ThreadState{};
}

namespace modMain {

void Main() {
  if (t_state.started) return;
  t_state.started = true;
  const ComponentFactories factories = CurrentFactories();
  t_state.catalogue = factories.messageCatalogue();
  t_state.catalogue->Load(ComponentDirectory() + "/vlqueryengine.messages", "VlQueryEngine");
  if (!t_state.locale) t_state.locale = factories.localeServices();
}

MessageCatalogue& Catalogue() {
  Main();
  return *t_state.catalogue;
}

std::string Message(long lNumber) { return Catalogue().Message(lNumber); }

std::string MessageWithArgs(long lNumber, std::vector<std::string> aArgs) {
  return Catalogue().MessageWithArgs(lNumber, aArgs);
}

long OutputMode() { return t_state.outputMode; }

void ReadOutputMode() {
  IgnoreAndGoOn([] {
    auto store = CurrentFactories().settingsStore();
    const std::string text = text::Trim(store->GetSetting("VlQueryEngine", "Output", "Mode", "0"));
    if (text::IsDecimalWhole(text)) t_state.outputMode = std::stol(text);
  });
}

bool LoggingOn() { return (t_state.outputMode & 1) != 0; }

enumQueryLookupTypes ModuleLookupType() { return t_state.lookupType; }
void SetModuleLookupType(enumQueryLookupTypes eLookupType) { t_state.lookupType = eLookupType; }

LocaleServices& Locale() {
  Main();
  return *t_state.locale;
}

void SetLocale(std::shared_ptr<LocaleServices> oLocale) {
  Main();
  if (oLocale) t_state.locale = std::move(oLocale);
}

void LogEvents(const std::vector<std::pair<std::string, EventType>>& events) {
  if (!LoggingOn()) return;
  try {
    if (!t_state.eventLog) t_state.eventLog = CurrentFactories().eventLog();
    EventLog& log = *t_state.eventLog;
    log.Open("", eLogAutomatic);
    for (const auto& [text, type] : events) log.Write(text, type);
    log.SetOff();
  } catch (...) {
    // Logging never makes an operation fail.
  }
}

void CentralErrorHandler(std::string_view /*sProcName*/, std::string_view /*sErrInfo*/, const Failure& failure) {
  if (!LoggingOn()) return;
  LogEvents({{"Central error handler handled error " + std::to_string(failure.Number()) + " from " +
                  failure.Source() + ":  " + failure.Description(),
              eEventError}});
}

Failure AsFailure(const std::exception_ptr& error, std::string_view sSource) {
  try {
    std::rethrow_exception(error);
  } catch (const Failure& f) {
    return f;
  } catch (const std::exception& e) {
    return Failure(kUnexpectedFailureNumber, std::string(sSource), e.what());
  } catch (...) {
    return Failure(kUnexpectedFailureNumber, std::string(sSource), "unknown failure");
  }
}

// ---- Operator and order words ----------------------------------------------------

namespace {
constexpr std::string_view kOperatorTexts[] = {"",   "Between", "Order", "ULike", "Like", "In", "<>",
                                               "<=", ">=",      "<",     ">",     "=",    "O"};
}

enumExpressionOperator OpStringToEnum(std::string_view sOpString) {
  enumExpressionOperator result = eEOUnknown;
  HandleAndLeave("modMain.OpStringToEnum", [&] {
    const std::string_view text = text::TrimView(sOpString);
    // "O" reads as Order: the short form is the parser's alone.
    for (int i = eEOBetween; i <= eEOEquals; ++i) {
      if (text::EqualsNoCase(text, kOperatorTexts[i])) {
        result = static_cast<enumExpressionOperator>(i);
        return;
      }
    }
    if (text::EqualsNoCase(text, "O")) result = eEOOrder;
  });
  return result;
}

std::string OpEnumToString(enumExpressionOperator eOp) {
  if (eOp < eEOBetween || eOp > eEOShortOrder) return {};
  return std::string(kOperatorTexts[eOp]);
}

enumOrderSpecifier OrdStringToEnum(std::string_view sOrdString, enumQueryLookupTypes eLookupType) {
  enumOrderSpecifier result = eOrdNone;
  HandleAndLeave("modMain.OrdStringToEnum", [&] {
    if (eLookupType != eQLTByPrefix && eLookupType != eQLTByGUID && IsNumeric(sOrdString)) {
      const auto number = Locale().TextToNumber(sOrdString);
      const double value = number ? *number : 0.0;
      result = value == 1.0 ? eOrdAsc : value == 2.0 ? eOrdDesc : eOrdNone;
      return;
    }
    const std::string word = text::Upper(text::TrimView(sOrdString));
    if (word == "ASC" || word == "ASCENDING" || word == "+") result = eOrdAsc;
    else if (word == "DESC" || word == "DESCENDING" || word == "-") result = eOrdDesc;
  });
  return result;
}

std::string OrdEnumToString(enumOrderSpecifier eOrd) {
  switch (eOrd) {
    case eOrdAsc:
      return "ASCEND";
    case eOrdDesc:
      return "DESCEND";
    default:
      return {};
  }
}

enumQueryEngineError ValidateLookupType(enumQueryLookupTypes eLookupType) {
  return (eLookupType >= eQLTByPrefix && eLookupType <= eQLTByGUID) ? eQEENone : eQEEInvalidLookupType;
}

// ---- Connection information ----------------------------------------------------

bool GetConnectionInfo(const std::shared_ptr<Project>& oProj, std::shared_ptr<DataServices>& oDataServices,
                       long& lDBType, std::string& sSchema, std::string& sDatabase, std::string& sServer) {
  bool connected = false;
  IgnoreAndGoOn([&] { connected = oProj && oProj->IsConnected(); });
  if (!connected) return false;
  std::shared_ptr<ProjectManager> manager;
  IgnoreAndGoOn([&] { manager = oProj->Manager(); });
  if (!manager) return false;
  IgnoreAndGoOn([&] { oDataServices = oProj->GetDataServices(manager->ConnectionKey()); });
  if (!oDataServices) return false;
  IgnoreAndGoOn([&] {
    const std::string code = text::Trim(oDataServices->ConnectionProperty("dbmsnamecode"));
    lDBType = text::IsDecimalWhole(code) ? std::stol(code) : 0;
  });
  IgnoreAndGoOn([&] { sSchema = oDataServices->ConnectionProperty("schema"); });
  IgnoreAndGoOn([&] { sDatabase = oDataServices->ConnectionProperty("database"); });
  IgnoreAndGoOn([&] { sServer = oDataServices->ConnectionProperty("server"); });
  return true;
}

// ---- Small procedures --------------------------------------------------------------

bool SplitAtLastDot(std::string_view sText, std::string& sBefore, std::string& sBehind) {
  const std::size_t dot = sText.rfind('.');
  if (dot == std::string_view::npos) {
    sBefore.clear();
    sBehind = std::string(sText);
    return false;
  }
  sBefore = std::string(sText.substr(0, dot));
  sBehind = std::string(sText.substr(dot + 1));
  return true;
}

std::string PathWithoutExtension(std::string_view sPath) {
  const std::size_t sep = sPath.find_last_of("\\:");
  const std::size_t dot = sPath.rfind('.');
  if (dot == std::string_view::npos || (sep != std::string_view::npos && dot < sep)) return std::string(sPath);
  return std::string(sPath.substr(0, dot));
}

std::string JetDatabasePathLiteral(std::string_view sPath, std::string_view sExtension) {
  std::string sLiteral = "'";
  for (char c : text::Upper(PathWithoutExtension(sPath)) + std::string(sExtension)) {
    sLiteral += c;
    if (c == '\'') sLiteral += '\'';
  }
  return sLiteral + "'";
}

std::string ComponentVersion() {
  return std::to_string(VLQ_VERSION_MAJOR) + "." + std::to_string(VLQ_VERSION_MINOR) + "." +
         std::to_string(VLQ_VERSION_PATCH);
}

bool IsNumeric(std::string_view sText) { return Locale().TextToNumber(sText).has_value(); }

}  // namespace modMain
}  // namespace vlq
