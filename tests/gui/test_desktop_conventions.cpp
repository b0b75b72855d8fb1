// What users of desktop programs expect of the workbench as a whole: Qt's own texts in Chinese,
// file dialogs that start in the right folder and add the filter's extension, the main window
// naming its work area, a table picker that picks on a double-click.
#include <QApplication>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QTimer>
#include <filesystem>

#include "app/file_dialogs.h"
#include "app/frmSelectTbl.h"
#include "app/frm_main.h"
#include "app/messages.h"
#include "app/startup.h"
#include "gui_support.h"
#include "workarea/path_resolver.h"
#include "workarea/work_area.h"

namespace sarnoth::gui {
namespace {

namespace fs = std::filesystem;

class DesktopConventions : public sarnoth::testing::SessionFixture {
 protected:
  void SetUp() override {
    SessionFixture::SetUp();
    forgetDialogFolders();
  }
  void TearDown() override {
    forgetDialogFolders();
    SessionFixture::TearDown();
  }
};

// "Cancel" must not stand beside Chinese captions: Qt's own buttons speak Chinese once its
// translations are loaded.
TEST_F(DesktopConventions, QtsOwnButtonsSpeakChinese) {
  if (!installQtTranslations()) GTEST_SKIP() << "qt6-translations-l10n is not installed";
  QDialogButtonBox box(QDialogButtonBox::Cancel | QDialogButtonBox::Open);
  EXPECT_EQ(box.button(QDialogButtonBox::Cancel)->text(), QString::fromUtf8("取消"));
  EXPECT_EQ(QCoreApplication::translate("QFileDialog", "Look in:"),
            QString::fromUtf8("查找范围："));
}

TEST_F(DesktopConventions, DialogsStartInTheWorkAreasFolderAndRememberTheLast) {
  const auto folder = [](const std::string& p) { return fs::path(resolvePath(p)).string(); };
  EXPECT_EQ(dialogFolder(FileKind::Grid), folder(area("Grid_dat")));
  EXPECT_EQ(dialogFolder(FileKind::Report), folder(area("temp")));
  EXPECT_EQ(dialogFolder(FileKind::Image), folder(area("Imag_Dat")));
  EXPECT_EQ(dialogFolder(FileKind::Outside),
            folder(area("")).substr(0, folder(area("")).size() - 1));
  fs::create_directories(area("exchange"));
  rememberDialogFolder(FileKind::Grid, area("exchange/a.grd"));
  EXPECT_EQ(dialogFolder(FileKind::Grid), area("exchange"));
  EXPECT_EQ(dialogFolder(FileKind::Report), folder(area("temp")));  // each kind its own

  EXPECT_EQ(withFilterExtension("/d/map", "*.png"), "/d/map.png");
  EXPECT_EQ(withFilterExtension("/d/map.", "*.tif;*.tiff"), "/d/map.tif");
  EXPECT_EQ(withFilterExtension("/d/色阶", "*.PAL;*.pal"), "/d/色阶.pal");
  EXPECT_EQ(withFilterExtension("/d/map.jpg", "*.png"), "/d/map.jpg");
  EXPECT_EQ(withFilterExtension("/d/map", "*.*"), "/d/map");
  EXPECT_EQ(filterPatterns("位图文件(*.bmp)|*.bmp|PNG 图像(*.png)|*.png", 1), "*.png");

  // Qt's dialog itself: opens in the report folder, a bare name gets the chosen filter's
  // extension, and the folder chosen is the next one's start.
  bool seen = false;
  sarnoth::testing::ModalScript script({[&](QWidget* w) {
    auto* d = qobject_cast<QFileDialog*>(w);
    ASSERT_NE(d, nullptr);
    seen = true;
    EXPECT_EQ(d->objectName(), "dlgFile");
    EXPECT_EQ(fs::path(d->directory().absolutePath().toStdString()),
              fs::path(folder(area("temp"))));
    d->selectNameFilter(d->nameFilters().at(1));
    d->selectFile(QString::fromStdString(area("exchange/剖面图")));
    QMetaObject::invokeMethod(d, "accept", Qt::DirectConnection);
  }});
  const std::string chosen = askSaveFileName(
      nullptr, "保存", "位图文件(*.bmp)|*.bmp|PNG 图像(*.png)|*.png", {}, FileKind::Report);
  EXPECT_TRUE(seen);
  EXPECT_EQ(chosen, area("exchange/剖面图.png"));
  EXPECT_EQ(dialogFolder(FileKind::Report), area("exchange"));
}

// The main window names the work area it works on, with its tables and grids, and counts afresh
// after a tool has run.
TEST_F(DesktopConventions, MainWindowShowsTheWorkAreaAndItsContents) {
  FrmMain main;
  auto* panel = main.findChild<QLabel*>("lblWorkArea");
  ASSERT_NE(panel, nullptr);
  const std::string shown = panel->text().toStdString();
  EXPECT_NE(shown.find("工作区: "), std::string::npos) << shown;
  EXPECT_NE(shown.find(area("").substr(0, area("").size() - 1)), std::string::npos) << shown;
  EXPECT_NE(shown.find("数据表: 0   网格: 0"), std::string::npos) << shown;
  writeFile(area("Grid_dat/a.grd"), "x");
  writeFile(area("Grid_dat/b.GRD"), "x");
  writeFile(area("Grid_dat/notes.txt"), "x");
  main.refreshWorkArea();
  EXPECT_NE(panel->text().toStdString().find("网格: 2"), std::string::npos);
  EXPECT_EQ(main.windowTitle(), QString::fromUtf8(" Sarnoth -- 数据处理与分析"));
}

// Mode 100 opens with the first name selected, and a double-click picks as the button does.
TEST_F(DesktopConventions, TablePickerPreselectsAndPicksOnDoubleClick) {
  frmSelectTbl t;
  t.mode = 100;
  t.itemsText = "Sheet1,化探数据,Sheet3";
  ASSERT_TRUE(t.load());
  ASSERT_NE(t.lstTbls->currentItem(), nullptr);
  EXPECT_EQ(t.lstTbls->currentItem()->text(), "Sheet1");
  EXPECT_TRUE(t.lstTbls->currentItem()->isSelected());
  QListWidgetItem* second = t.lstTbls->item(1);
  emit t.lstTbls->itemDoubleClicked(second);
  EXPECT_EQ(gPickedFile, "化探数据");
  EXPECT_EQ(t.result(), QDialog::Accepted);

  // The deleting modes never act on a double-click.
  frmSelectTbl d;
  d.mode = 500;
  d.lstTbls->addItem("北区");
  gPickedFile.clear();
  ScriptedMessages boxes;
  emit d.lstTbls->itemDoubleClicked(d.lstTbls->item(0));
  EXPECT_TRUE(boxes.texts.empty());
}

}  // namespace
}  // namespace sarnoth::gui
