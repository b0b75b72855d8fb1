// One-time import of a Jet (.mdb) database into the SQLite store, through mdbtools (libmdb).
//
// Every user table comes across with its name, its fields' Jet types and text sizes, and its
// rows in record order. Numbers are decoded from the record bytes (Single stays the same float,
// Currency keeps four decimals), dates become "YYYY-MM-DD HH:MM:SS" text. Text of Jet 3 files is
// read as GBK when it decodes cleanly as GBK, else as Windows-1252; Jet 4 text is Unicode.
// The .mdb file is only read. The store is written to a scratch file and moved into place when
// the whole import has succeeded, so a failed import leaves no half store behind.
#pragma once

#include <string>
#include <vector>

#include "workarea/interaction.h"

namespace sarnoth {

struct JetImportReport {
  std::vector<std::string> tables;  // imported, in catalogue order
  long long rows = 0;
};

// Imports `mdbPath` into a new store at `sqlitePath`. Fails with a clear message when mdbtools
// cannot read the file; the target is then left as it was.
// The user tables of a Jet file in catalogue order; empty with `error` set when unreadable.
std::vector<std::string> listJetTables(const std::string& mdbPath, std::string& error);

Outcome importJetDatabase(const std::string& mdbPath, const std::string& sqlitePath,
                          JetImportReport* report = nullptr);

}  // namespace sarnoth
