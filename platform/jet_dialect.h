#pragma once
// The Access/Jet dialect on SQLite. The engine writes Jet SQL for the project
// store; DataServices.Execute passes every statement through Rewrite and runs
// it on a connection where RegisterFunctions has put the Jet functions.
//
// Rewrite changes only what stands outside string literals ('...' with
// doubled quotes), quoted identifiers ("...", [...], `...`) and comments:
//
//   &                  text concatenation          -> ||
//   \                  whole-number division       -> /   (SQLite divides whole
//                      numbers as whole numbers; the engine divides whole columns)
//   MOD                remainder                   -> %
//   #mm-dd-yyyy hh:mm:ss#, #m/d/yyyy#, #yyyy-mm-dd#, #hh:mm#
//                      date literals               -> 'yyyy-mm-dd hh:mm:ss', the
//                      stored form of date columns (a bare time lies on 1899-12-30)
//   IsNull( Left( IsNumeric( CLng( CDbl( CDate( CStr( Val( Mid( Len( String( InStr(
//                      function calls, case-blind  -> JET_ISNULL( JET_LEFT( ...
//                      (IsNull and Left are words of SQLite's grammar; the
//                      others are renamed too, so that SQLite's own instr()
//                      and friends keep their meaning). IIf is SQLite's iif.
//   IN '<path>'        external database of a FROM clause: the path goes to the
//                      resolver, which names the schema that the file is
//                      attached under; every table of that FROM clause (the
//                      names behind FROM, JOIN and the commas of its table
//                      list, also inside parenthesised joins, not inside
//                      subqueries) is qualified with it and the clause is
//                      removed. An empty schema name leaves the tables bare.
//
// Known differences to Jet: & binds as tightly as SQLite's || (Jet binds it
// below + and -); \ and MOD don't round real operands first, and \ binds like
// / (Jet binds it below * and /). The engine's statements don't depend on
// either.

#include <functional>
#include <optional>
#include <string>
#include <string_view>

struct sqlite3;

namespace vlq::platform::jet {

// Maps the path of an external-database clause, as the statement writes it, to
// the schema name for the tables of that FROM clause; "" for the file that
// runs the statement. Throws Failure for a path it doesn't know.
using ExternalResolver = std::function<std::string(std::string_view path)>;

// The statement in SQLite's SQL. Throws Failure (source "JetDialect.Rewrite")
// for an external-database clause that stands outside a FROM clause, has an
// empty path, or comes without a resolver.
std::string Rewrite(std::string_view sql, const ExternalResolver& resolver = {});

// The stored ISO form "yyyy-mm-dd hh:mm:ss" of the text between the # marks of
// a Jet date literal; nullopt when it is no date.
std::optional<std::string> DateLiteralToIso(std::string_view text);

// Registers JET_ISNULL, JET_ISNUMERIC, JET_CLNG, JET_CDBL, JET_CDATE, JET_CSTR,
// JET_VAL, JET_MID, JET_LEN, JET_LEFT, JET_STRING and JET_INSTR on a
// connection (and IIF where SQLite lacks it). Throws Failure.
//
// Their behaviour: a NULL argument gives NULL, but for IsNull and IsNumeric
// (0 or 1). A text that isn't a number gives NULL from CLng, CDbl and CDate
// rather than a failure, so that a sort over mixed values still runs. CLng
// rounds half to even. CDate gives the ISO text "yyyy-mm-dd hh:mm:ss" for
// numbers (date serials, day 0 = 1899-12-30) and for date texts alike, so that
// its results sort as dates and compare with date columns and literals. Len,
// Mid, Left, InStr and String count characters of UTF-8 text; InStr compares
// without regard to ASCII case, as the database compares text.
void RegisterFunctions(::sqlite3* db);

}  // namespace vlq::platform::jet
