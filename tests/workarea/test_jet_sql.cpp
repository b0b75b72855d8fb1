// The store's Jet dialect against Jet's own answers: one table of statement → answer per group.
// The expected answers are Jet's (Access 2000–2016 with an .mdb), worked by hand from its
// documented rules: floating '/', banker's rounding in Round and the C* conversions, half away
// from zero in Format, -1/0 booleans, case-blind text, Like's * ? # [a-c] [!a-c], month-first
// date literals, Top keeping ties.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <thread>

#include "test_support.h"
#include "workarea/jet_sql.h"
#include "workarea/null_value.h"
#include "workarea/table_store.h"

namespace sarnoth {
namespace {

struct Case {
  const char* sql;
  const char* answer;  // the first cell as text; "Null"; or "error: <part of the message>"
};

// The first cell of a query as text: integers whole, reals with 15 digits, "Null"; for other
// statements the rows they changed.
std::string answerOf(Database& db, const std::string& sql) {
  try {
    if (db.translate(sql).kind != JetStatementKind::Select)
      return std::to_string(db.execute(sql)) + " rows";
    Value v = db.scalar(sql);
    if (isNull(v)) return "Null";
    if (auto* d = std::get_if<double>(&v)) {
      char buf[40];
      std::snprintf(buf, sizeof buf, "%.15g", *d);
      return buf;
    }
    return valueToText(v);
  } catch (const StoreError& e) {
    return std::string("error: ") + e.what();
  }
}

void expectAnswers(Database& db, std::initializer_list<Case> cases) {
  for (const auto& c : cases) {
    std::string got = answerOf(db, c.sql);
    std::string want = c.answer;
    if (want.rfind("error: ", 0) == 0)
      EXPECT_NE(got.find(want.substr(7)), std::string::npos) << c.sql << "\n  gave: " << got;
    else
      EXPECT_EQ(got, want) << c.sql;
  }
}

class JetSql : public ::testing::Test {
 protected:
  void SetUp() override {
    db = Database::open(tmp.file("j.sqlite"), true);
    db.execute(
        "Create Table [样品] ([样号] TEXT(10), [X] SINGLE, [Au] SINGLE, [Cu] LONG, [N] INTEGER, "
        "[岩性] TEXT(20), [D] DATE, [B] BIT, [M] MEMO)");
    TableWriter w(db, "样品", {"样号", "X", "Au", "Cu", "N", "岩性", "D", "B", "M"});
    struct Row {
      const char* id;
      double x, au;
      long cu, n;
      const char* rock;
      const char* date;
      int b;
    } rows[] = {
        {"A1", 0.1, 10, 5, 2, "Granite", "1995-12-29", -1},
        {"A2", 0.2, 9, 7, 2, "granite", "1995-12-30 10:30:00", 0},
        {"A3", 0.3, 8, 9, 4, "Schist", "1996-01-01", -1},
        {"A4", 0.4, 8, 1, 3, "basalt", "1996-02-29", 0},
        {"A5", 0.5, 7, 2, 1, "GRANITE", "1994-07-01", 0},
        {"a6", 0.6, 6, 3, 5, "Ärgillite", "1994-07-02", 0},
        {"A7", 0.7, 5, 4, 5, "schist", "1993-03-03", 0},
        {"A8", 0.8, 4, 6, 6, "Basalt", "1993-03-04", 0},
        {"A9", 0.9, 3, 8, 7, "argillite", "1992-01-01", 0},
        {"A10", 1.0, NULL_VALUE_D, 10, 8, "Schist", "1991-01-01", 0},
    };
    for (const auto& r : rows) {
      w.setText(0, r.id);
      w.setDouble(1, r.x);
      w.setDouble(2, r.au);
      w.setInt(3, r.cu);
      w.setInt(4, r.n);
      w.setText(5, r.rock);
      w.setText(6, r.date);
      w.setInt(7, r.b);
      w.setText(8, "00123");
      w.addRow();
    }
    w.commit();
  }
  test::TempDir tmp;
  Database db;
};

TEST_F(JetSql, Arithmetic) {
  expectAnswers(db, {
                        {"Select 7/2", "3.5"},
                        {"Select 1/3", "0.333333333333333"},
                        {"Select [Cu]/[N] From [样品] Where [样号]='A1'", "2.5"},
                        {"Select 7\\2", "3"},
                        {"Select 7.6\\2", "4"},
                        {"Select -7\\2", "-3"},
                        {"Select 7 Mod 3", "1"},
                        {"Select -7 Mod 3", "-1"},
                        {"Select 7.5 Mod 2", "0"},
                        {"Select 2^10", "1024"},
                        {"Select -2^2", "-4"},
                        {"Select 2^-1", "0.5"},
                        {"Select 2+3*4", "14"},
                        {"Select 2*3 Mod 4", "2"},
                        {"Select 1 + Null", "Null"},
                        {"Select 'a'+'b'", "ab"},
                        {"Select '1'+2", "3"},
                        {"Select 'a' + Null", "Null"},
                        {"Select 'a' & Null", "a"},
                        {"Select Null & Null", "Null"},
                        {"Select 'x' & 2.5", "x2.5"},
                        {"Select 'x' & [X] From [样品] Where [样号]='A1'", "x0.1"},
                        {"Select [样号] & '-' & [Cu] From [样品] Where [Cu]=5", "A1-5"},
                        {"Select 1/0", "error: Division by zero"},
                        {"Select 5\\0", "error: Division by zero"},
                        {"Select (-8)^(1/3)", "error: Invalid procedure call"},
                        {"Select Count(*) From [样品] Where [Au] <> -1E+38", "9"},
                        {"Select Count(*) From [样品] Where [Au] = - 1.0e38", "1"},
                    });
}

TEST_F(JetSql, Booleans) {
  expectAnswers(db, {
                        {"Select True", "-1"},
                        {"Select False", "0"},
                        {"Select Yes", "-1"},
                        {"Select 1=1", "-1"},
                        {"Select 1<0", "0"},
                        {"Select Not True", "0"},
                        {"Select (1=1) + 1", "0"},
                        {"Select 3 Between 1 And 5", "-1"},
                        {"Select 1 Xor 0", "-1"},
                        {"Select IsNull(Null)", "-1"},
                        {"Select Null Is Null", "-1"},
                        {"Select IIf(1=1, 'y', 'n')", "y"},
                        {"Select IIf(Null, 'y', 'n')", "n"},
                        {"Select Count(*) From [样品] Where [B] = True", "2"},
                        {"Select Count(*) From [样品] Where [B]", "2"},
                        {"Select Count(*) From [样品] Where Not [B]", "8"},
                        {"Select Sum([B]) From [样品]", "-2"},
                        {"Select Exists (Select * From [样品] Where [Cu] > 9)", "-1"},
                    });
}

TEST_F(JetSql, TextIsCaseBlind) {
  expectAnswers(
      db,
      {
          {"Select 'abc' = 'ABC'", "-1"},
          {"Select 'a' < 'B'", "-1"},
          {"Select 'Ä' = 'ä'", "-1"},
          {"Select 'a' In ('A', 'b')", "-1"},
          {"Select 'b' Between 'A' And 'C'", "-1"},
          {"Select Count(*) From [样品] Where [岩性] = 'GRANITE'", "3"},
          {"Select Count(*) From (Select Distinct [岩性] From [样品])", "5"},
          {"Select Count(*) From (Select DistinctRow [岩性] From [样品])", "10"},
          {"Select Count(*) From (Select [岩性] From [样品] Group By [岩性])", "5"},
          {"Select Count(*) From (Select UCase([岩性]) From [样品] Group By UCase([岩性]))", "5"},
          {"Select Max([岩性]) From [样品]", "Schist"},
          {"Select Min([岩性]) From [样品]", "argillite"},
          {"Select Count(*) From [样品] Where [岩性] < 'B'", "2"},
          {"Select Top 1 [样号] From [样品] Order By [岩性], [样号]", "A9"},
          {"Select Count(*) From (Select 'a' Union Select 'A')", "1"},
          {"Select Count(*) From [样品] As s Inner Join [样品] As t On s.[岩性] = "
           "UCase(t.[岩性])",
           "24"},
          {"Select [M] From [样品] Where [样号]='A1'", "00123"},
          {"Select [M] + 1 From [样品] Where [样号]='A1'", "124"},
      });
}

TEST_F(JetSql, TextOfAStoreMadeBeforeTheCollation) {
  sqlite3_exec(db.handle(),
               "CREATE TABLE old (k TEXT(10)); INSERT INTO old VALUES ('a'), ('A'), ('b');",
               nullptr, nullptr, nullptr);
  expectAnswers(db, {
                        {"Select Count(*) From (Select Distinct [k] From [old])", "2"},
                        {"Select Count(*) From (Select Distinct * From [old])", "2"},
                        {"Select Count(*) From (Select [k] From [old] Union Select [k] From [old])",
                         "2"},
                        {"Select Count(*) From [old] Where [k] = 'A'", "2"},
                        {"Select Count(*) From (Select [k] From [old] Group By [k])", "2"},
                    });
}

TEST_F(JetSql, Like) {
  expectAnswers(db, {
                        {"Select 'abc' Like 'a*'", "-1"},
                        {"Select 'abc' Like 'A?C'", "-1"},
                        {"Select 'a_c' Like 'a_c'", "-1"},
                        {"Select 'abc' Like 'a_c'", "0"},
                        {"Select 'ab' Like 'a%'", "0"},
                        {"Select 'b' Like '[a-c]'", "-1"},
                        {"Select 'd' Like '[!a-c]'", "-1"},
                        {"Select 'b' Like '[!a-c]'", "0"},
                        {"Select 'a1' Like 'a#'", "-1"},
                        {"Select 'ab' Like 'a#'", "0"},
                        {"Select 'a*b' Like 'a[*]b'", "-1"},
                        {"Select 'axb' Like 'a[*]b'", "0"},
                        {"Select 'abc' Not Like '*c'", "0"},
                        {"Select Null Like 'a'", "Null"},
                        {"Select Count(*) From [样品] Where [岩性] Like 'g*'", "3"},
                        {"Select Count(*) From [样品] Where [样号] Like 'A#'", "9"},
                        {"Select 'a' Like '[a'", "error: Invalid pattern"},
                    });
}

TEST_F(JetSql, Dates) {
  // A date imported by an older store, with its time part spelt out, still matches.
  sqlite3_exec(db.handle(),
               "INSERT INTO \"样品\" (\"样号\", \"D\") VALUES ('old', '1980-05-06 00:00:00')",
               nullptr, nullptr, nullptr);
  expectAnswers(
      db, {
              {"Select #1995/12/29#", "1995-12-29"},
              {"Select #12/31/1995#", "1995-12-31"},
              {"Select #31/12/1995#", "1995-12-31"},
              {"Select #1995-12-29 10:30#", "1995-12-29 10:30:00"},
              {"Select #12/31/95 10:30:15 PM#", "1995-12-31 22:30:15"},
              {"Select #1/2/29#", "2029-01-02"},
              {"Select #29-Dec-1995#", "1995-12-29"},
              {"Select [样号] From [样品] Where [D] = #12/29/1995#", "A1"},
              {"Select [样号] From [样品] Where [D] = #1980/5/6#", "old"},
              {"Select Count(*) From [样品] Where [D] > #1995/12/29#", "3"},
              {"Select Count(*) From [样品] Where [D] Between #1/1/1996# And #12/31/1996#", "2"},
              {"Select Year(#12/31/1995#)", "1995"},
              {"Select Month([D]) From [样品] Where [样号]='A4'", "2"},
              {"Select Day(#1996/02/29#)", "29"},
              {"Select Hour([D]) From [样品] Where [样号]='A2'", "10"},
              {"Select Weekday(#2024/03/05#)", "3"},
              {"Select DateAdd('m', 1, #1995/01/31#)", "1995-02-28"},
              {"Select DateAdd('d', 1, #1995/12/31#)", "1996-01-01"},
              {"Select DateAdd('h', 36, #1995/12/31#)", "1996-01-01 12:00:00"},
              {"Select DateDiff('d', #1995/12/29#, #1996/01/02#)", "4"},
              {"Select DateDiff('yyyy', #1995/12/31#, #1996/01/01#)", "1"},
              {"Select DateDiff('m', #1995/01/31#, #1995/02/01#)", "1"},
              {"Select DateSerial(1995, 13, 1)", "1996-01-01"},
              {"Select DateSerial(1996, 3, 0)", "1996-02-29"},
              {"Select #1995/12/29# + 3", "1996-01-01"},
              {"Select #1996/01/01# - #1995/12/29#", "3"},
              {"Select CDbl(#1900/01/01#)", "2"},
              {"Select CDbl(#1899/12/29 06:00#)", "-1.25"},
              {"Select CDate('12/31/1995')", "1995-12-31"},
              {"Select Format(#1995/12/29 10:05#, 'yyyy/m/d hh:nn')", "1995/12/29 10:05"},
              {"Select Format(#1995/12/29#, 'dddd, mmmm d')", "Friday, December 29"},
              {"Select #13/13/1995#", "error: Syntax error in date"},
          });
}

TEST_F(JetSql, Functions) {
  expectAnswers(db, {
                        {"Select Left('abc', 2)", "ab"},
                        {"Select Right('横坐标', 2)", "坐标"},
                        {"Select Mid('abcdef', 2, 3)", "bcd"},
                        {"Select Len('横坐标')", "3"},
                        {"Select UCase('abc')", "ABC"},
                        {"Select LCase('ÄB')", "äb"},
                        {"Select Trim('  a  ') & '|'", "a|"},
                        {"Select InStr('abcB', 'B')", "2"},
                        {"Select InStr(1, 'abcB', 'B', 0)", "4"},
                        {"Select Replace('aXbx', 'x', '-')", "aXb-"},
                        {"Select StrReverse('abc')", "cba"},
                        {"Select Str(5)", " 5"},
                        {"Select String(3, 'ab')", "aaa"},
                        {"Select CInt(2.5)", "2"},
                        {"Select CInt(3.5)", "4"},
                        {"Select CInt(-2.5)", "-2"},
                        {"Select CLng(2.7)", "3"},
                        {"Select CInt(70000)", "error: Overflow"},
                        {"Select CInt('abc')", "error: conversion"},
                        {"Select CSng(0.1)", "0.100000001490116"},
                        {"Select CStr(2.5)", "2.5"},
                        {"Select CStr([X]) From [样品] Where [样号]='A3'", "0.3"},
                        {"Select Round(2.5)", "2"},
                        {"Select Round(3.5)", "4"},
                        {"Select Round(-2.5)", "-2"},
                        {"Select Round(0.125, 2)", "0.12"},
                        {"Select Hex(255)", "FF"},
                        {"Select Hex(-1)", "FFFFFFFF"},
                        {"Select Hex(2.5)", "2"},
                        {"Select Oct(8)", "10"},
                        {"Select Val('1e5')", "100000"},
                        {"Select Val(' 1 2 3abc')", "123"},
                        {"Select Val('&H1F')", "31"},
                        {"Select Val('abc')", "0"},
                        {"Select Val('-3.5e2x')", "-350"},
                        {"Select Int(-2.5)", "-3"},
                        {"Select Fix(-2.5)", "-2"},
                        {"Select Sgn(-3)", "-1"},
                        {"Select Abs(-3)", "3"},
                        {"Select Sqr(16)", "4"},
                        {"Select Log(Exp(1))", "1"},
                        {"Select Nz(Null, 5)", "5"},
                        {"Select Nz(Null) & '|'", "|"},
                        {"Select Format(1234.5, '#,##0.00')", "1,234.50"},
                        {"Select Format(2.5, '0')", "3"},
                        {"Select Format(0.5, '0%')", "50%"},
                        {"Select Format(1234.5, '0.00E+00')", "1.23E+03"},
                        {"Select Format(-3, '0;(0)')", "(3)"},
                        {"Select Format(5, 'Fixed')", "5.00"},
                        {"Select Format(1234567.891, 'Standard')", "1,234,567.89"},
                        {"Select Format(0.125, 'Percent')", "12.50%"},
                        {"Select Format(1, 'Yes/No')", "Yes"},
                        {"Select Format(1, 'Currency')", "error: Format pattern 'Currency'"},
                        {"Select StDev([Cu]) From [样品] Where [Cu] <= 3", "1"},
                        {"Select Var([Cu]) From [样品] Where [Cu] <= 3", "1"},
                        {"Select VarP([Cu]) From [样品] Where [Cu] <= 3", "0.666666666666667"},
                        {"Select First([样号]) From [样品]", "A1"},
                        {"Select Last([样号]) From [样品]", "A10"},
                        {"Select Avg([Au]) From [样品] Where [Au] <> -1E+38", "6.66666666666667"},
                    });
}

// The samples of TopCases: Au 10, 9, 8, 8, 7, 6, 5, 4, 3 and the null.
TEST_F(JetSql, TopKeepsTiesAtAnyDepth) {
  expectAnswers(
      db,
      {
          {"Select Count(*) From (Select Top 3 [Au] From [样品] Order By [Au] Desc)", "4"},
          {"Select Count(*) From [样品] Where [样号] In (Select Top 3 [样号] From [样品] Order By "
           "[Au] Desc)",
           "4"},
          {"Select Avg([Au]) From (Select Top 2 [Au] From [样品] Order By [Au] Desc) As d", "9.5"},
          {"Select Count(*) From (Select Top 3 [Au] From [样品])", "3"},
          {"Select Count(*) From (Select Top 30 Percent [Au] From [样品] Where [Au] <> -1E+38 "
           "Order By [Au])",
           "3"},
          {"Select Count(*) From (Select Top 35 Percent [Au] From [样品] Where [Au] <> -1E+38 "
           "Order By [Au])",
           "4"},
          {"Select Count(*) From (Select Top 30 Percent [Au] From [样品] Order By [Au] Desc)", "4"},
          {"Select Count(*) From (Select [Au] From (Select Top 3 [Au] From [样品] Order By [Au] "
           "Desc) As d Where [Au] > 8)",
           "2"},
          {"Select Count(*) From [样品] Where [Au] >= (Select Min([Au]) From (Select Top 5 [Au] "
           "From [样品] Order By [Au] Desc))",
           "5"},
          {"Select Count(*) From (Select Distinct Top 3 [Au] From [样品] Order By [Au] Desc)", "3"},
          {"Select Count(*) From (Select Top 1 [岩性], Count(*) As n From [样品] Group By [岩性] "
           "Order By Count(*) Desc)",
           "2"},
          {"Select Count(*) From (Select Top 2 [样号] From [样品] Where [Cu] > ? Order By [Cu])",
           "error: Too few parameters"},
      });
  // Parameters stand once in the text and may be bound though Top repeats the query.
  Value n =
      db.scalar("Select Count(*) From (Select Top 3 [N] From [样品] Where [Cu] > ? Order By [N])",
                {Value(2.0)});
  EXPECT_EQ(valueToDouble(n), 3);  // N where Cu > 2: 2, 2, 4, 5, 5, 6, 7, 8
  n = db.scalar("Select Count(*) From (Select Top 4 [N] From [样品] Where [Cu] > ? Order By [N])",
                {Value(2.0)});
  EXPECT_EQ(valueToDouble(n), 5);  // the tie of the two 5s
  Cursor c = db.query("Select Top 3 [样号] From [样品] Order By [Au] Desc");
  int rows = 0;
  while (c.next()) ++rows;
  EXPECT_EQ(rows, 4);
}

TEST_F(JetSql, SelectIntoNamesAndTypes) {
  db.execute(
      "Select [岩性], Count(*), Avg([Au]), Max([Cu]), StDev([Au]) Into [R1] From [样品] Group By "
      "[岩性]");
  auto f = db.fields("R1");
  ASSERT_EQ(f.size(), 5u);
  const char* names[] = {"岩性", "Expr1001", "AvgOfAu", "MaxOfCu", "StDevOfAu"};
  const char* types[] = {"TEXT(20)", "LONG", "DOUBLE", "LONG", "DOUBLE"};
  for (std::size_t i = 0; i < 5; ++i) {
    EXPECT_EQ(f[i].name, names[i]);
    EXPECT_EQ(f[i].declared(), types[i]) << names[i];
  }
  db.execute(
      "Select [Au]*[X], [Cu]*[N], [Cu]*[Au], [Cu]/[N], [岩性] & 'x', 1=1, -1E+38 As [v], [D], [B] "
      "Into [R2] From [样品]");
  f = db.fields("R2");
  const char* types2[] = {"SINGLE", "LONG",   "DOUBLE", "DOUBLE", "TEXT(255)",
                          "BIT",    "DOUBLE", "DATE",   "BIT"};
  ASSERT_EQ(f.size(), 9u);
  for (std::size_t i = 0; i < 9; ++i) EXPECT_EQ(f[i].declared(), types2[i]) << f[i].name;
  EXPECT_EQ(f[0].name, "Expr1000");
  // A SINGLE result is rounded to float on write.
  Cursor c = db.query("Select [Expr1000] From [R2]");
  while (c.next()) EXPECT_EQ(c.getDouble(0), static_cast<double>(c.getFloat(0)));
  // The clipping tool's form: no blank before Into, a bare name.
  db.execute("Select [X],[Au]Into 剪裁结果 From 样品 Where [Au] > 8");
  EXPECT_EQ(db.rowCount("剪裁结果"), 2);
  EXPECT_EQ(db.fields("剪裁结果")[1].declared(), "SINGLE");
  db.execute("Select * Into [R3] From [样品] Where 1=0");
  EXPECT_EQ(db.fields("R3").size(), 9u);
  EXPECT_EQ(db.fields("R3")[8].type, JetType::Memo);
  EXPECT_EQ(db.rowCount("R3"), 0);
  expectAnswers(db, {{"Select [Au], [Au] Into [R4] From [样品]", "error: Duplicate output"},
                     {"Select [Au] Into [R1] From [样品]", "error: already exists"}});
  Cursor names2 = db.query("Select Avg([Au]), -1E+38, [样品].[Cu] From [样品]");
  EXPECT_EQ(names2.columnName(0), "AvgOfAu");
  EXPECT_EQ(names2.columnName(1), "Expr1001");
  EXPECT_EQ(names2.columnName(2), "Cu");
}

TEST_F(JetSql, WritesConvertToTheFieldType) {
  db.execute(
      "Create Table [W] ([m] MEMO, [t] TEXT(3), [l] LONG, [i] INTEGER, [y] BYTE, [b] BIT, "
      "[c] CURRENCY, [d] DATE, [s] SINGLE)");
  db.execute(
      "Insert Into [W] ([m], [t], [l], [i], [y], [b], [c], [d], [s]) Values "
      "('00123', '1e5', 2.7, 2.5, 3.5, 5, 1.23456, '12/31/1995', 0.1)");
  expectAnswers(db, {
                        {"Select [m] From [W]", "00123"},
                        {"Select [t] From [W]", "1e5"},
                        {"Select [l] From [W]", "3"},
                        {"Select [i] From [W]", "2"},
                        {"Select [y] From [W]", "4"},
                        {"Select [b] From [W]", "-1"},
                        {"Select [c] From [W]", "1.2346"},
                        {"Select [d] From [W]", "1995-12-31"},
                        {"Select [s] From [W]", "0.100000001490116"},
                        {"Select Count(*) From [W] Where [s] = 0.1", "0"},
                        {"Select Count(*) From [W] Where [s] = CSng(0.1)", "1"},
                    });
  expectAnswers(db, {
                        {"Insert Into [W] ([i]) Values (70000)", "error: Overflow"},
                        {"Insert Into [W] ([y]) Values (300)", "error: Overflow"},
                        {"Insert Into [W] ([t]) Values ('abcd')", "error: too small"},
                        {"Insert Into [W] ([l]) Values ('abc')", "error: conversion"},
                        {"Update [W] Set [i] = 40000", "error: Overflow"},
                    });
  // The tools' float null fits any numeric field.
  db.execute("Update [W] Set [l] = -1E+38, [s] = -1E+38");
  EXPECT_EQ(valueToDouble(db.scalar("Select Count(*) From [W] Where [s] = -1E+38")), 1);
  // The dynaset and the bulk writer convert alike.
  Recordset rs = Recordset::openTable(db, "W");
  rs.addNew();
  rs.set("l", 2.5);
  rs.set("d", std::string("1995/12/29 00:00:00"));
  rs.set("m", 7.0);
  EXPECT_THROW(rs.set("i", 1e6), StoreError);
  EXPECT_THROW(rs.set("t", std::string("abcd")), StoreError);
  rs.update();
  EXPECT_EQ(answerOf(db, "Select [l] From [W] Where [d] = #12/29/1995#"), "2");
  EXPECT_EQ(answerOf(db, "Select [m] From [W] Where [d] = #12/29/1995#"), "7");
  TableWriter w(db, "W", {"l", "b"});
  w.setDouble(0, 3.5);
  w.setDouble(1, 2);
  w.addRow();
  EXPECT_THROW(w.setDouble(0, 3e9), StoreError);
  w.commit();
  EXPECT_EQ(answerOf(db, "Select Sum([b]) From [W] Where [l] = 4"), "-1");
}

TEST_F(JetSql, StatementsThatWrite) {
  db.execute("Create Table [A] ([k] TEXT(5), [v] SINGLE)");
  db.execute("Create Table [B] ([k] TEXT(5), [w] DOUBLE)");
  db.execute("Insert Into [A] Values ('x', 1)");
  db.execute("Insert Into [A] Values ('y', 2)");
  db.execute("Insert Into [A] Values ('z', 3)");
  db.execute("Insert Into [B] ([k], [w]) Values ('X', 10.1)");
  db.execute("Insert Into [B] ([k], [w]) Values ('Y', 20.2)");
  EXPECT_EQ(db.execute("Update [A] Inner Join [B] On [A].[k] = [B].[k] Set [A].[v] = [B].[w]"), 2);
  expectAnswers(db, {{"Select [v] From [A] Where [k] = 'x'", "10.1000003814697"},
                     {"Select [v] From [A] Where [k] = 'z'", "3"}});
  // Append by name from "Select *".
  db.execute("Create Table [C] ([w] DOUBLE, [k] TEXT(5))");
  EXPECT_EQ(db.execute("Insert Into [C] Select * From [B]"), 2);
  EXPECT_EQ(answerOf(db, "Select [w] From [C] Where [k] = 'Y'"), "20.2");
  EXPECT_EQ(db.execute("Delete [A].* From [A] Inner Join [B] On [A].[k] = [B].[k] Where [w] > 15"),
            1);
  EXPECT_EQ(db.execute("Delete * From [A] Where [k] = 'Z'"), 1);
  EXPECT_EQ(db.rowCount("A"), 1);
  db.execute("Alter Table [C] Add Column [n] TEXT(10)");
  db.execute("Update [C] Set [n] = '2.5'");
  db.execute("Create Index [ix] On [C] ([k] Desc)");
  db.execute("Alter Table [C] Alter Column [n] LONG");
  EXPECT_EQ(db.fields("C")[2].declared(), "LONG");
  EXPECT_EQ(answerOf(db, "Select Sum([n]) From [C]"), "4");  // 2.5 → 2, twice
  db.execute("Drop Index [ix] On [C]");
  db.execute("Alter Table [C] Drop Column [n]");
  EXPECT_EQ(db.fields("C").size(), 2u);
  // A SINGLE's default -1E+38 is the float null, found by the tools' test.
  db.execute("Alter Table [C] Add Column [s] Single Default -1E+38");
  db.execute("Alter Table [C] Add Column [pic] LONGBINARY");
  db.execute("Insert Into [C] ([k]) Values ('new')");
  EXPECT_EQ(answerOf(db, "Select Count(*) From [C] Where [s] = -1E+38"), "3");
  EXPECT_EQ(db.fields("C")[3].type, JetType::Other);
  db.execute("Drop Table [C]");
  EXPECT_FALSE(db.tableExists("C"));
  EXPECT_THROW(db.execute("Create Table [A] ([q] LONG)"), StoreError);
}

TEST_F(JetSql, RefusalsNameTheConstruct) {
  db.execute("Create Table [A] ([k] TEXT(5))");
  expectAnswers(
      db, {
              {"Select Foo(1)", "error: Undefined function 'Foo' in expression."},
              {"Transform Count(*) Select [k] From [A] Group By [k] Pivot [k]", "error: TRANSFORM"},
              {"Select * From [A] Where [k] > All (Select [k] From [A])", "error: All"},
              {"Select Count(Distinct [k]) From [A]", "error: Distinct"},
              {"Create Table [Z] ([id] Counter)", "error: AutoNumber"},
              {"Update [A] Left Join [A] As b On [A].[k] = b.[k] Set [A].[k] = 'q'",
               "error: Left Join"},
              {"Select * From [A] Full Join [A] As b On 1=1", "error: FULL"},
              {"Pragma table_info(A)", "error: 'Pragma' is not part of"},
              {"Select 1 Eqv 1", "error: Eqv"},
              {"Select * From [A] In 'x.mdb'", "error: external database"},
              {"Select 'a' ALike 'a'", "error: ALike"},
              {"Select 1 != 2", "error: '<>'"},
              {"Select [k] From [A] Where", "error: Syntax error"},
              {"Select 1 2 3", "error: Characters found after end"},
              {"Select Top 0 [k] From [A]", "error: Top"},
              {"Create Index [i] On [A] ([k]) With Disallow Null", "error: DISALLOW NULL"},
              {"Select Left('a')", "error: Wrong number of arguments"},
              {"Select DistinctRow [A].[k] From [A], [A] As b", "error: DistinctRow"},
          });
  EXPECT_THROW(translateJet("Select 1; Drop Table [A]"), StoreError);
}

TEST(JetSqlSpeed, TranslationStaysFast) {
  // A check that the translator has no quadratic path: a long statement still translates.
  std::string sql = "Select [a]";
  for (int i = 0; i < 2000; ++i) sql += " + [a" + std::to_string(i) + "]";
  sql += " From [t] Where [a] In (";
  for (int i = 0; i < 2000; ++i) sql += (i ? ", " : "") + std::to_string(i);
  sql += ")";
  EXPECT_NO_THROW(translateJet(sql));
}

TEST(JetStoreLocking, SecondWriterWaitsForTheFirst) {
  test::TempDir tmp;
  {
    Database d = Database::open(tmp.file("l.sqlite"), true);
    d.execute("Create Table [t] ([v] LONG)");
  }
  Database a = Database::open(tmp.file("l.sqlite"));
  Database b = Database::open(tmp.file("l.sqlite"));
  a.begin();
  a.execute("Insert Into [t] Values (1)");
  std::thread first([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    a.commit();
  });
  // b queues behind a's write lock instead of failing with "database is locked".
  EXPECT_NO_THROW({
    TableWriter w(b, "t", {"v"});
    w.setInt(0, 2);
    w.addRow();
    w.commit();
  });
  EXPECT_NO_THROW(b.execute("Insert Into [t] Values (3)"));
  first.join();
  EXPECT_EQ(b.rowCount("t"), 3);
}

}  // namespace
}  // namespace sarnoth
