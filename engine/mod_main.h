#pragma once
// modMain: what every class of the component shares. The per-thread module
// values (message catalogue, output mode, lookup type, locale), the operator and
// order words, logging, the central error handler with the three treatments of
// unexpected failures, and the connection information helper.

#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/enums.h"
#include "services/components.h"
#include "services/failure.h"
#include "services/project.h"

namespace vlq::modMain {

// ---- Start-up and the per-thread module values --------------------------------

// Runs once on each thread before the first object of the component there: makes
// and loads the message catalogue. Every accessor below calls it as needed.
void Main();

MessageCatalogue& Catalogue();
// Message(n) and MessageWithArgs(n, args) of the thread's catalogue.
std::string Message(long lNumber);
std::string MessageWithArgs(long lNumber, std::vector<std::string> aArgs);
inline std::string MessageWithArg(long lNumber, std::string sArg) {
  return MessageWithArgs(lNumber, {std::move(sArg)});
}

// The output mode: read from the settings store at each QueryEngine's
// construction. Bit 0 set means logging is on.
long OutputMode();
void ReadOutputMode();
bool LoggingOn();

// The lookup type of the latest query on this thread (set by QuerySql.LookupType).
enumQueryLookupTypes ModuleLookupType();
void SetModuleLookupType(enumQueryLookupTypes eLookupType);

// The locale services of this thread (default: the platform's en-US).
LocaleServices& Locale();
void SetLocale(std::shared_ptr<LocaleServices> oLocale);

// ---- Logging and failures ------------------------------------------------------

// One logging session: open, write the events, set off. Writes nothing while
// logging is off.
void LogEvents(const std::vector<std::pair<std::string, EventType>>& events);
inline void LogInfo(std::string sText) { LogEvents({{std::move(sText), eEventInformation}}); }

// The central error handler: logs the failure being handled (when logging is
// on). sProcName names the operation that handled it. It never throws.
void CentralErrorHandler(std::string_view sProcName, std::string_view sErrInfo, const Failure& failure);

// The failure behind an exception, whatever its type: number, source and
// description. sSource is used for exceptions that carry none.
Failure AsFailure(const std::exception_ptr& error, std::string_view sSource);

// The three treatments of unexpected failures. Each operation states its own in
// one place by running its body through one of these.
//
// Handle and leave: a failure is passed to the central error handler under
// sProcName, and the operation goes on to its normal end with the result it
// held (the body writes its results through references as it goes).
template <class Body>
void HandleAndLeave(std::string_view sProcName, Body&& body) noexcept {
  try {
    std::forward<Body>(body)();
  } catch (...) {
    CentralErrorHandler(sProcName, {}, AsFailure(std::current_exception(), sProcName));
  }
}

// Ignore and go on: the failure is dropped.
template <class Body>
void IgnoreAndGoOn(Body&& body) noexcept {
  try {
    std::forward<Body>(body)();
  } catch (...) {
  }
}

// Raise: the failure goes on to the caller with its number and description and
// sSource as its source.
template <class Body>
decltype(auto) Raise(std::string_view sSource, Body&& body) {
  try {
    return std::forward<Body>(body)();
  } catch (...) {
    Failure f = AsFailure(std::current_exception(), sSource);
    throw Failure(f.Number(), std::string(sSource), f.Description());
  }
}

// ---- Operator and order words ----------------------------------------------------

enumExpressionOperator OpStringToEnum(std::string_view sOpString);
std::string OpEnumToString(enumExpressionOperator eOp);
enumOrderSpecifier OrdStringToEnum(std::string_view sOrdString, enumQueryLookupTypes eLookupType);
std::string OrdEnumToString(enumOrderSpecifier eOrd);
enumQueryEngineError ValidateLookupType(enumQueryLookupTypes eLookupType);

// ---- Connection information ----------------------------------------------------

// Reads the connection of oProj: its DataServices and the connection properties
// "dbmsnamecode", "schema", "database", "server". True only when every step
// was reached; failures inside are ignored.
bool GetConnectionInfo(const std::shared_ptr<Project>& oProj, std::shared_ptr<DataServices>& oDataServices,
                       long& lDBType, std::string& sSchema, std::string& sDatabase, std::string& sServer);

// ---- Small procedures --------------------------------------------------------------

// Splits a text at its last ".": false and the whole text as the part behind
// when there is no ".".
bool SplitAtLastDot(std::string_view sText, std::string& sBefore, std::string& sBehind);

// The extension of a path: what stands behind the last "." after the last "\"
// or ":"; and the path without it.
std::string PathWithoutExtension(std::string_view sPath);

// The file of another Jet project as a literal of an external-database clause
// (IN '<path>'): the path in capitals without its extension, sExtension behind
// it, a quote inside doubled.
std::string JetDatabasePathLiteral(std::string_view sPath, std::string_view sExtension);

// The word readers of the query language.
//
// DataBetweenParens: the text between the pair of parentheses that opens at
// lStart (from 1) in sText; the characters it walks over are blanked in sText.
// Empty, and sText unchanged, when there is no "(" at lStart.
std::string DataBetweenParens(std::string& sText, std::size_t lStart);
// ExtractQueryBaseCriteria: one word from the head of sText, bare or quoted;
// lConsumed receives the count of source characters it took (a doubled quote
// counts 2). bInList: a comma always ends a bare word.
std::string ExtractQueryBaseCriteria(std::string_view sText, long& lConsumed, bool bInList);

// "major.minor.revision" of the component.
std::string ComponentVersion();

// Whole numbers of a query: the locale's numeric test, then the value as a
// 32-bit whole number (rounded as the locale's conversion does).
bool IsNumeric(std::string_view sText);

}  // namespace vlq::modMain
