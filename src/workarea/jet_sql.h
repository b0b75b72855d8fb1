// The store's Jet dialect: a translator from Jet SQL to SQLite with Jet's semantics.
//
// A statement is tokenized, parsed by recursive descent into a tree, typed against the store's
// schema and emitted as one SQLite statement. Every Jet semantic is mapped in one place below;
// anything outside the supported subset is refused with a StoreError that names the construct.
// A silent wrong answer is the one thing the store must never give.
//
// Statements
//   Select [Distinct|DistinctRow (one table: no effect, as in Jet)|All] [Top n [Percent]] items
//   [Into t] From … [Where …]
//     [Group By …] [Having …] [Order By … [Asc|Desc]] [Union [All] Select …]
//     From: tables (bracketed, bare or `quoted`, with or without As alias), derived tables
//     "(Select …) [As] d", comma joins and Inner/Left/Right [Outer] Join … On …, nested in
//     parentheses the way Jet writes them.
//     Subqueries: In (Select …), Exists (Select …), scalar (Select …) anywhere an expression goes.
//   Insert Into t [(cols)] Values (…) | Select …
//   Update t [As a] Set c = e, … [Where …];  Update a Inner Join b On … Set a.c = b.e [Where …]
//   Delete [*|t.*] From t [Where …];  Delete t.* From t Inner Join u On … [Where …]
//   Create Table t (c type [(n)] [Not Null] [Primary Key|Unique] [Default literal], …
//     [, Constraint k Primary Key|Unique (cols)]);  Drop Table t
//   Alter Table t Add [Column] c type | Drop [Column] c | Alter [Column] c type
//   Create [Unique] Index i On t (c [Asc|Desc], …) [With Primary|Ignore Null];  Drop Index i On t
//   Store extensions (not Jet): a trailing "Limit n [Offset m]" on a Select, for paging viewers;
//   several rows in one Insert … Values (…), (…).
//   Parameters are written '?' and bound positionally. One statement per call.
//
// Types. Jet type names are kept as declared (SINGLE, DOUBLE, LONG, INTEGER, BYTE, BIT,
//   CURRENCY, DATETIME, TEXT(n), MEMO). Each maps to a SQLite affinity that never converts text:
//   TEXT(n) and MEMO (declared LONGTEXT) have TEXT affinity, so '00123' and '1e5' stay text; every
//   text column carries the collation JETTEXT. Values written by Insert, Update, Select … Into,
//   the Recordset and the TableWriter are converted to the column's type as Jet does, touching
//   only the rows written: SINGLE rounds to float; LONG, INTEGER and BYTE round half to even and
//   refuse values out of range ("Overflow"); BIT stores -1/0; CURRENCY rounds to 4 decimals; DATE
//   stores the canonical date text; text into a numeric field must be a number ("Data type
//   conversion error."); TEXT(n) refuses text longer than n characters (the TableWriter trusts
//   its callers' widths). The float null -1E+38 is accepted by every numeric type: it is the
//   tools' null. Binary fields (OLEOBJECT, LONGBINARY; BLOB in the store) keep their bytes.
//
// Semantics and how each is mapped
//   a / b      always floating division; division by zero is the error "Division by zero".
//   a \ b      integer division: both operands rounded half to even, quotient truncated.
//   a Mod b    operands rounded half to even; the remainder takes the dividend's sign.
//   a ^ b      power; an undefined power (negative base, fractional exponent) is an error.
//   a & b      text concatenation; Null counts as "" unless both are Null. Numbers print as Jet
//              prints them (a SINGLE with 7 significant digits, a DOUBLE with 15).
//   a + b      concatenates when both values are text, else adds; Null propagates.
//   date ± n   adds days; date - date gives days.
//   True, Yes = -1 and False, No = 0; comparisons, And, Or, Not, Xor, Like, In, Between, Is Null
//              and Exists give -1/0 wherever they are used as values.
//   Text comparison (=, <>, <, >, In, Between), Group By, Order By, Distinct, Union, joins, Min and
//              Max are case-blind (collation JETTEXT: ASCII, Latin-1, Latin Extended-A, Greek,
//              Cyrillic and full-width letters fold to one case; an accent weighs less than the
//              letter, a < ä < b, while 'a' <> 'ä'; CJK and other characters compare by code
//              point, not by pinyin as a Chinese sort order would). InStr is case-blind as in a
//              query; Replace compares binary, its default.
//   Like       Jet's patterns: * any run, ? one character, # one digit, [abc], [a-c], [!a-c];
//              case-blind; % and _ are ordinary characters.
//   #date#     #1995/12/29#, #1995-12-29#, #12/31/1995# (month first, as Jet reads literals),
//              #31/12/1995# (day first when the first number cannot be a month), an optional time
//              "10:30[:15] [AM|PM]", or a time alone (on 1899-12-30). Two-digit years: 00-29 are
//              20xx, 30-99 are 19xx.
//   Dates      are stored as text "YYYY-MM-DD" at midnight, else "YYYY-MM-DD HH:MM:SS"; imported,
//              typed and computed dates alike. Comparisons with a date compare instants, so any
//              stored spelling of a date still matches.
//   -1E+38     the literal (any spelling: -1e+38, - 1E38, -1.0E+38) stands for the float null
//              and is replaced by the float's exact value, so " <> -1E+38" finds what tools wrote.
//   Top n      keeps the rows tied with the n-th row on the Order By keys, at any depth (In
//              subqueries and derived tables alike); Top n Percent keeps ceil(n% of the rows),
//              with ties. Without Order By, the first n rows.
//   Names      of result columns are Jet's: the column's name, "AvgOfAu" for an aggregate of a
//              column, else "Expr1000" + the column's position.
//   Select … Into  the new table's fields take the types of the columns they come from; Count is
//              LONG, Avg/StDev/Var DOUBLE, text expressions TEXT(255), comparisons BIT,
//              arithmetic the wider of its operands (BYTE < INTEGER < LONG < SINGLE < DOUBLE).
//
// Functions (Jet names, case-blind)
//   Aggregates: Count, Sum, Avg, Min, Max, StDev, StDevP, Var, VarP, First, Last.
//   Numbers: Abs, Sgn, Int, Fix, Round (half to even), Sqr, Exp, Log (natural), Sin, Cos, Tan,
//     Atn, Val, Hex, Oct, CInt, CLng, CByte, CSng, CDbl, CCur, CBool, CStr, CDate.
//   Text: Len, Left, Right, Mid, InStr, UCase, LCase, Trim, LTrim, RTrim, Space, String, Str,
//     Replace, StrReverse, Format.
//   Dates: Now, Date, Time, Year, Month, Day, Hour, Minute, Second, Weekday, DateAdd, DateDiff,
//     DatePart, DateSerial, TimeSerial, DateValue, TimeValue.
//   Others: IIf, Nz (a zero-length text without a default, as in Jet queries), IsNull.
//   Format supports the named formats General Number, Fixed, Standard, Percent, Scientific,
//   Yes/No, True/False, On/Off, General Date, Short Date (yyyy-mm-dd), Short Time, Long Time, and
//   custom number (0 # . , % E+ E- with sections) and date (d dd ddd dddd m mm mmm mmmm yy yyyy
//   h hh n nn s ss AM/PM q) patterns; others (Currency, Long Date, text @ patterns …) are refused.
//
// Refused by name: any other function ("Undefined function 'X' in expression."), Any/All/Some
//   subqueries, Count(Distinct …), Transform/Pivot, Parameters declarations, Procedure, In
//   <external database>, counters (COUNTER, AUTOINCREMENT), foreign keys, Left/Right joins in
//   Update, Update of two tables at once, DistinctRow over several tables, Full/Cross joins,
//   Disallow Null indexes, Eqv/Imp, ALike, '!=', and statements of other dialects (Pragma, With,
//   Cast, '||' …).
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "workarea/table_store.h"

namespace sarnoth {

enum class JetStatementKind {
  Select,
  SelectInto,
  Insert,
  Update,
  Delete,
  CreateTable,
  DropTable,
  AddColumn,
  DropColumn,
  AlterColumn,
  CreateIndex,
  DropIndex,
};

// The columns of a table in the store, or null when there is no such table.
using JetSchemaLookup = std::function<const std::vector<FieldDef>*(const std::string& table)>;

struct JetTranslation {
  JetStatementKind kind = JetStatementKind::Select;
  std::string sql;     // the SQLite statement; for Select … Into the Select that makes the rows
  std::string target;  // the table made, written, altered or dropped
  // Select and Select … Into: the result columns with Jet's names and the types Select … Into
  // gives them; JetType::Other where the type is known only from the values.
  std::vector<FieldDef> columns;
  FieldDef column;  // Add / Alter Column: the new definition; Drop Column: its name
  bool writesRows() const {
    return kind == JetStatementKind::Insert || kind == JetStatementKind::Update ||
           kind == JetStatementKind::Delete || kind == JetStatementKind::SelectInto;
  }
};

// Translates one Jet statement (a trailing ';' is allowed). `schema` types the names; without it
// the statement still translates, with Jet's semantics decided from the values at run time.
// Throws StoreError naming the construct for anything outside the supported subset.
JetTranslation translateJet(const std::string& jet, const JetSchemaLookup& schema = {});

// The SQLite column declaration of a field: its Jet type name with the affinity and collation
// the store gives it ("TEXT(20) COLLATE JETTEXT", "LONGTEXT COLLATE JETTEXT", "SINGLE" …).
std::string storageDeclaration(const FieldDef& f);

// The SQLite function that converts a value to a field's type on write ("jet_single" …), or ""
// for DOUBLE and types that need no conversion.
std::string writeConversion(const FieldDef& f);

}  // namespace sarnoth
