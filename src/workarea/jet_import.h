// One-time import of a Jet (.mdb) database into the SQLite store, through mdbtools (libmdb).
//
// Every user table comes across with its name, its fields' Jet types and text sizes, and its
// rows in record order. Numbers are decoded from the record bytes (Single stays the same float,
// Currency keeps four decimals), dates become the store's date text ("YYYY-MM-DD", with
// " HH:MM:SS" when they hold a time), Yes/No fields -1/0. Text of Jet 3 files is decoded in the
// code page their header names (1252, 936 …); Jet 4 text is Unicode.
//
// libmdb has no guard against damaged files (it crashes, loops or allocates without bound), so it
// runs in a child process with limits on its address space and CPU time, and streams the tables
// back through a pipe; the child is killed when it sends nothing for a few seconds. A damaged
// file is refused with a message naming the table being read. The .mdb file is only read; the
// store is written to a scratch file and moved into place when the whole import has succeeded,
// so a failed import leaves no store behind.
#pragma once

#include <string>
#include <vector>

#include "workarea/interaction.h"

namespace sarnoth {

struct JetImportReport {
  std::vector<std::string> tables;  // imported, in catalogue order
  long long rows = 0;
};

// The user tables of a Jet file in catalogue order; empty with `error` set when unreadable.
std::vector<std::string> listJetTables(const std::string& mdbPath, std::string& error);

// Imports `mdbPath` into a new store at `sqlitePath`. Fails with a clear message when the file
// is not a Jet database, is damaged, or holds a table libmdb cannot read; the target is then left
// as it was.
Outcome importJetDatabase(const std::string& mdbPath, const std::string& sqlitePath,
                          JetImportReport* report = nullptr);

}  // namespace sarnoth
