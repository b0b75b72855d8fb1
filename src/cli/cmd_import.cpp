// import table, export table: outside tables in and out of the work area.
#include <filesystem>
#include <iostream>

#include "cli/cli.h"
#include "cli/cmd_method_import.h"
#include "datatools/data_convert.h"
#include "workarea/grid_convert.h"
#include "datatools/grid_to_table.h"
#include "workarea/session.h"
#include "datatools/table_import.h"
#include "workarea/work_area.h"

namespace sarnoth::cli {
namespace {

DelimitedOptions delimitedOptions(const Args& a) {
  DelimitedOptions o;
  std::string d = a.get("delimiter", ",");
  if (d == "tab" || d == "\\t")
    o.delimiter = '\t';
  else if (d == "blank" || d == "space" || d == " ")
    o.delimiter = ' ';
  else if (!d.empty())
    o.delimiter = d[0];
  o.decimal = a.get("decimal", ".") == "," ? ',' : '.';
  std::string e = a.get("encoding", "auto");
  o.encoding = e == "gbk"    ? TextEncoding::Gbk
               : e == "utf8" ? TextEncoding::Utf8
                             : TextEncoding::Auto;
  o.headerRow = !a.has("no-header");
  return o;
}

int runImport(Args& a) {
  std::string kind = a.pos(0);
  std::string file = a.pos(1);
  if (kind == "method") return runMethodImport(a);
  if ((kind == "grid" || kind == "image") && !file.empty()) {
    std::string work = workPath(a);
    if (work.empty()) return failWith(kRefusalText);
    CliInteraction ui(a);
    std::string target;
    Outcome o;
    if (kind == "image") {
      o = importImageToWorkArea(file, work, ui, &target);
    } else {
      CliProgress progress("导入");
      std::string name = a.get("name", std::filesystem::path(file).stem().string());
      ArcOrigin origin =
          a.get("origin", "node") == "corner" ? ArcOrigin::CellCorner : ArcOrigin::AsNode;
      o = importGridToWorkArea(file, work, name, origin, ui, progress, &target);
    }
    if (!o) return o.message.empty() ? 3 : failWith(o.message);
    std::cout << target << "\n";
    return 0;
  }
  if (kind != "table" || file.empty())
    return failWith("usage: sarnoth-cli import table|grid|image FILE ...");
  std::string error;
  if (a.has("list-layers")) {
    auto layers = listLayers(file, error);
    if (!error.empty()) return failWith(error);
    for (const auto& l : layers) std::cout << l << "\n";
    return 0;
  }
  auto src = openTableFile(file, a.get("layer"), delimitedOptions(a), error);
  if (!src) return failWith(error);
  ImportPreview preview;
  Outcome p = previewSource(*src, preview, static_cast<int>(a.getInt("preview", 5)));
  if (!p) return failWith(p.message);
  // --type NAME=SINGLE,OTHER=TEXT(20) overrides guesses; --skip NAME,NAME leaves columns out.
  if (Outcome c = applyColumnChoices(preview.columns, a.get("type"), a.get("skip")); !c)
    return failWith(c.message);

  // The columns as they go in: the guess of the first rows, or for an import the types the
  // whole file called for.
  auto printColumns = [&preview](std::int64_t rows, const std::vector<FieldDef>& types) {
    std::cout << rows << " rows; columns:\n";
    for (std::size_t i = 0; i < preview.columns.size(); ++i) {
      const ImportColumn& c = preview.columns[i];
      std::string declared = c.type.declared();
      for (const auto& t : types)
        if (t.name == c.name) declared = t.declared();
      std::cout << "  " << c.name << "\t" << declared << (c.import ? "" : "\t(skipped)") << "\n";
    }
  };
  std::string name = a.get("name");
  if (name.empty()) {
    if (!a.has("preview")) return failWith("请输入新数据表名. (--name)");
    printColumns(preview.rowCountExact ? preview.rowCount : countRows(*src), {});
    return 0;
  }
  std::string work = workPath(a);
  if (work.empty()) return failWith(kRefusalText);
  try {
    Database db = openWorkDatabase(work);
    CliInteraction ui(a);
    CliProgress progress("导入");
    ImportReport rep;
    Outcome o = importTable(db, *src, preview.columns, name, ui, progress, &rep);
    if (!o) return o.message.empty() ? 3 : failWith(o.message);
    printColumns(rep.rows, db.fields(name));
    std::cout << o.message << "\n";
  } catch (const StoreError& e) {
    return failWith(e.what());
  }
  return 0;
}

int runExport(Args& a) {
  std::string kind = a.pos(0);
  std::string table = a.pos(1);
  std::string out = a.pos(2);
  if (kind != "table" || table.empty() || out.empty())
    return failWith(
        "usage: sarnoth-cli export table TABLE OUT [--format csv|xlsx|dbf|scatter-binary|"
        "scatter-ascii] [--nulls-empty]");
  SaveOptions opt;
  std::string fmt = a.get("format");
  opt.format = saveFormatForPath(out);
  if (!fmt.empty() && !parseSaveFormat(fmt, opt.format))
    return failWith("--format csv|xlsx|dbf|scatter-binary|scatter-ascii");
  opt.nullsEmpty = a.has("nulls-empty");
  opt.encoding = a.get("encoding", "gbk") == "utf8" ? TextEncoding::Utf8 : TextEncoding::Gbk;
  opt.crlf = a.get("eol", "crlf") != "lf";
  std::string d = a.get("delimiter", ",");
  opt.delimiter = d == "tab" ? '\t' : d.empty() ? ',' : d[0];
  std::string work = workPath(a);
  if (work.empty()) return failWith(kRefusalText);
  try {
    Database db = openWorkDatabase(work);
    CliProgress progress("转出");
    std::int64_t rows = 0;
    Outcome o = saveTableAs(db, table, out, opt, progress, &rows);
    if (!o) return failWith(o.message);
    if (!o.message.empty()) std::cerr << o.message << "\n";
    std::cout << rows << " rows written to " << out << "\n";
  } catch (const StoreError& e) {
    return failWith(e.what());
  }
  return 0;
}

int runGrid2Table(Args& a) {
  std::string grid = a.pos(0);
  std::string name = a.get("name");
  if (grid.empty() || name.empty())
    return failWith("usage: sarnoth-cli grid2table GRID --name NEW [--value FIELD] [--keep-nulls]");
  std::string work = workPath(a);
  if (work.empty()) return failWith(kRefusalText);
  // A bare name is a grid of the work area.
  if (grid.find('/') == std::string::npos && grid.find('\\') == std::string::npos)
    grid = work + "Grid_dat\\" + grid +
           (grid.size() > 4 && grid.substr(grid.size() - 4) == ".grd" ? "" : ".grd");
  GridToTableOptions opt;
  opt.valueField = a.get("value");
  opt.xField = a.get("x", opt.xField);
  opt.yField = a.get("y", opt.yField);
  opt.keepNulls = a.has("keep-nulls");
  try {
    Database db = openWorkDatabase(work);
    CliInteraction ui(a);
    CliProgress progress("转换");
    Outcome o = gridToTable(db, grid, name, opt, ui, progress);
    if (!o) return o.message.empty() ? 3 : failWith(o.message);
    std::cout << o.message << "\n";
  } catch (const StoreError& e) {
    return failWith(e.what());
  }
  return 0;
}

CommandRegistrar regGrid2Table{
    {"grid2table", "turn the nodes of a grid into a registered table",
     "usage: sarnoth-cli grid2table GRID --name NEW [--value FIELD] [--x 横坐标 --y 纵坐标]\n"
     "         [--keep-nulls] [--yes] [--workarea DIR]\n"
     "GRID is a file, or the name of a grid in the work area's Grid_dat.",
     runGrid2Table}};

CommandRegistrar regImport{
    {"import", "bring an outside table into the work area",
     "usage: sarnoth-cli import table FILE --name NEW [--layer SHEET] [--delimiter ,|;|tab|blank]\n"
     "         [--decimal .|,] [--encoding auto|gbk|utf8] [--no-header] [--type COL=SINGLE,...]\n"
     "         [--skip COL,...] [--yes] [--workarea DIR]\n"
     "       sarnoth-cli import table FILE --list-layers     (sheets or tables of the file)\n"
     "       sarnoth-cli import grid FILE [--name NAME] [--origin corner|node] [--yes]\n"
     "       sarnoth-cli import image FILE [--yes]            (into Imag_Dat)\n"
     "       sarnoth-cli import method FILE --entry mnu… [--rename NEW] [--yes]  (into Prof_Dat)\n"
     "       sarnoth-cli import table FILE --preview N       (columns and guessed types only)\n"
     "Text: .csv .txt .tsv .prn .dat; through GDAL: .xlsx .xls .ods .dbf; Jet: .mdb;\n"
     "scatter files of the system (binary, ASCII, older) by their magic.",
     runImport}};
CommandRegistrar regExport{
    {"export", "send a registered table out as CSV, .xlsx, .dbf or a scatter file",
     "usage: sarnoth-cli export table TABLE OUT [--format csv|xlsx|dbf|scatter-binary|\n"
     "         scatter-ascii] [--nulls-empty] [--encoding gbk|utf8] [--eol crlf|lf]\n"
     "         [--delimiter ,|;|tab] [--workarea DIR]\n"
     "--nulls-empty writes -1E+38 as empty cells; a scatter file then leaves out the points\n"
     "holding a null.",
     runExport}};

}  // namespace
}  // namespace sarnoth::cli
