#include "app/file_dialogs.h"

#include <QFileDialog>
#include <QRegularExpression>
#include <QStringList>
#include <algorithm>
#include <cctype>
#include <filesystem>
#include <map>

#include "app/messages.h"
#include "workarea/path_resolver.h"
#include "workarea/session.h"

namespace sarnoth::gui {
namespace fs = std::filesystem;
namespace {

std::map<FileKind, std::string>& remembered() {
  static std::map<FileKind, std::string> m;
  return m;
}

const char* kindFolder(FileKind kind) {
  switch (kind) {
    case FileKind::Grid:
      return "Grid_dat";
    case FileKind::Image:
      return "Imag_Dat";
    case FileKind::Report:
      return "temp";
    case FileKind::Profile:
      return "Prof_Dat";
    case FileKind::Palette:
    case FileKind::Outside:
      break;
  }
  return "";
}

std::string withoutTrailingSeparator(std::string p) {
  while (p.size() > 1 && (p.back() == '/' || p.back() == '\\')) p.pop_back();
  return p;
}

}  // namespace

std::string dialogFolder(FileKind kind) {
  std::error_code ec;
  auto it = remembered().find(kind);
  if (it != remembered().end() && fs::is_directory(it->second, ec)) return it->second;
  if (gWorkPath.empty()) return {};
  const std::string area = withoutTrailingSeparator(resolvePath(gWorkPath));
  const std::string sub = kindFolder(kind);
  if (!sub.empty()) {
    std::string folder = withoutTrailingSeparator(resolvePath(gWorkPath + sub));
    if (fs::is_directory(folder, ec)) return folder;
  }
  return fs::is_directory(area, ec) ? area : std::string();
}

void rememberDialogFolder(FileKind kind, const std::string& chosenPath) {
  if (chosenPath.empty()) return;
  fs::path folder = fs::path(chosenPath).parent_path();
  if (!folder.empty()) remembered()[kind] = folder.string();
}

void forgetDialogFolders() { remembered().clear(); }

std::string filterPatterns(const std::string& systemFilter, int index) {
  const QStringList parts = qs(systemFilter).split('|');
  const qsizetype at = 2 * static_cast<qsizetype>(index) + 1;
  return at < parts.size() ? ss(parts[at]) : std::string();
}

std::string withFilterExtension(const std::string& path, const std::string& patterns) {
  if (path.empty()) return path;
  const fs::path p(path);
  if (p.has_extension() && p.extension() != ".") return path;
  // The first pattern that names an extension: "*.png", "*.PAL;*.pal" → ".png", ".PAL".
  for (const QString& pat : qs(patterns).split(QRegularExpression("[ ;]"), Qt::SkipEmptyParts)) {
    const qsizetype dot = pat.lastIndexOf('.');
    if (dot < 0) continue;
    const QString ext = pat.mid(dot + 1);
    if (ext.isEmpty() || ext.contains('*') || ext.contains('?')) continue;
    // The system's patterns come in pairs of upper and lower case; lower case reads better.
    std::string e = "." + ss(ext);
    for (char& ch : e) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
    std::string base = path;
    if (base.back() == '.') base.pop_back();
    return base + e;
  }
  return path;
}

std::string runFileDialog(QWidget* parent, bool save, const std::string& title,
                          const std::string& systemFilter, const std::string& defaultName,
                          FileKind kind, const std::string& startDir) {
  const std::string folder = startDir.empty() ? dialogFolder(kind) : resolvePath(startDir);
  QFileDialog dialog(parent, qs(title), qs(folder), qtFileFilter(systemFilter));
  dialog.setObjectName("dlgFile");
  dialog.setOption(QFileDialog::DontUseNativeDialog, true);
  dialog.setAcceptMode(save ? QFileDialog::AcceptSave : QFileDialog::AcceptOpen);
  dialog.setFileMode(save ? QFileDialog::AnyFile : QFileDialog::ExistingFile);
  // A default like "*.txt" is a pattern, not a name.
  if (!defaultName.empty() && defaultName.find('*') == std::string::npos)
    dialog.selectFile(qs(defaultName));
  if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return {};
  std::string path = ss(dialog.selectedFiles().front());
  if (save) {
    const int chosen = static_cast<int>(
        qtFileFilter(systemFilter).split(";;").indexOf(dialog.selectedNameFilter()));
    path = withFilterExtension(path, filterPatterns(systemFilter, std::max(chosen, 0)));
  }
  rememberDialogFolder(kind, path);
  return path;
}

}  // namespace sarnoth::gui
