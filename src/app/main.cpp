// The workbench executable: reads dmxsysset.log beside itself and opens FrmMain.
#include <QApplication>
#include <QFont>

#include "app/frm_main.h"
#include "app/startup.h"
#include "workarea/session.h"
#include "workarea/table_reader.h"

int main(int argc, char** argv) {
  sarnoth::useStoreConnectionsWithoutMutexes();
  QApplication app(argc, argv);
  QApplication::setApplicationName("Sarnoth");
  // Simplified Chinese glyphs first: left to the font fallback, Han characters may come from a
  // Japanese or Korean face.
  QFont font = QApplication::font();
  font.setFamilies(
      {"Noto Sans CJK SC", "Source Han Sans SC", "WenQuanYi Micro Hei", font.family()});
  QApplication::setFont(font);
  sarnoth::gui::installQtTranslations();
  auto window = sarnoth::gui::startWorkbench(sarnoth::executableDir());
  if (!window) return 0;
  return QApplication::exec();
}
