// The automatic inversion, topographic correction and section plotting windows headless:
// files through the open dialogs, refusals through the message boxes, the batch run with its
// files and charts, the correction's saves, and the section window's options, picture and print.
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPrinter>
#include <QPushButton>
#include <QSpinBox>
#include <filesystem>

#include "app/chart_view.h"
#include "app/messages.h"
#include "datatools/forms/data_form_support.h"
#include "electric/dc2d_demo.h"
#include "electric/forms/FrmWTResIP2DAuto.h"
#include "electric/forms/frmWTDC2DTopoCorrect.h"
#include "electric/forms/frmWTDrawContour.h"
#include "gui/gui_support.h"
#include "workarea/file_text.h"
#include "workarea/text_codec.h"

namespace sarnoth::gui {
namespace {

class Dc2dAutoWindows : public testing::SessionFixture {
 protected:
  void SetUp() override {
    SessionFixture::SetUp();
    ASSERT_TRUE(electric::writeDemoDc2d(gWorkPath).ok);
    prof = gWorkPath + "Prof_Dat/";
  }
  std::string prof;
};

using sarnoth::testing::ScriptedOpen;

bool exists(const std::string& p) { return std::filesystem::exists(p); }
std::string readWhole(const std::string& p) {
  std::string b;
  filetext::readWholeFile(p, b);
  return b;
}

TEST_F(Dc2dAutoWindows, AutoInversionRunsTheBatchWithDefaultsFromTheData) {
  FrmWTResIP2DAuto w;
  EXPECT_EQ(w.windowTitle().toStdString(), "二维电阻率极化率自动反演");
  ScriptedMessages boxes;
  // Nothing to invert yet.
  w.cmdRun->click();
  ASSERT_EQ(boxes.texts.size(), 1u);
  EXPECT_EQ(boxes.texts[0], kMsgDc2dNoFiles);
  // A file of the wrong kind is refused with the line it should start with.
  filetext::writeWholeFile(prof + "wrong.hd2", utf8ToGbk("三极实测数据\n"));
  {
    ScriptedOpen open({prof + "wrong.hd2", prof + "demo_dc2d.hdo", prof + "demo_dc2d.ter"});
    w.cmdAddFile->click();
    w.cmdAddFile->click();
    w.cmdTerrain->click();
    EXPECT_EQ(open.titles[0], kDc2dAutoOpenTitle);
    EXPECT_NE(open.filters[0].find("*.hdo"), std::string::npos);
    EXPECT_EQ(open.titles[2], kDc2dTerrainTitle);
  }
  ASSERT_EQ(boxes.texts.size(), 2u);
  EXPECT_NE(boxes.texts[1].find("首行应为：二极实测数据"), std::string::npos);
  ASSERT_EQ(w.lstFiles->count(), 1);
  EXPECT_FALSE(w.txtTerrain->text().isEmpty());
  // The defaults of the demo data (30 electrodes; the error within its bounds), fixed while
  // automatic.
  EXPECT_GE(w.txtError->value(), 2.0);
  EXPECT_LE(w.txtError->value(), 5.0);
  EXPECT_EQ(w.txtCells->value(), 4);
  EXPECT_FALSE(w.txtIterations->isEnabled());
  // Own parameters for a quick run.
  w.chkAutoParam->setChecked(false);
  EXPECT_TRUE(w.txtIterations->isEnabled());
  w.txtIterations->setValue(2);
  w.txtCells->setValue(2);
  w.cmdRun->click();
  ASSERT_EQ(w.results().size(), 1u);
  EXPECT_EQ(w.results()[0].settings.iterations, 2);
  EXPECT_FALSE(w.results()[0].file.survey.flat());  // the terrain went in
  EXPECT_NE(w.txtLog->toPlainText().toStdString().find("反演计算完成"), std::string::npos);
  for (const char* f : {"demo_dc2d_inv.dat", "demo_dc2d_mod.sec", "demo_dc2d_ps.sec",
                        "demo_dc2d_mod.png", "demo_dc2d_ps.png"})
    EXPECT_TRUE(exists(prof + f)) << f;
  EXPECT_FALSE(w.chtModel->chart().series.empty());
  EXPECT_TRUE(w.chtModel->chart().colourBar.has_value());
  EXPECT_FALSE(w.chtComputed->chart().series.empty());
  EXPECT_GE(w.chtMisfit->chart().series.at(0).y.size(), 2u);  // the start model and iterations
  EXPECT_TRUE(w.cmdDrawSection->isEnabled());
  w.cmdDrawSection->click();
  auto* plot = w.findChild<frmWTDrawContour*>("frmWTDrawContour");
  ASSERT_NE(plot, nullptr);
  EXPECT_EQ(plot->section().kind, 2);
  EXPECT_EQ(boxes.texts.size(), 2u);
}

TEST_F(Dc2dAutoWindows, TopoCorrectionComputesShowsAndSaves) {
  frmWTDC2DTopoCorrect w;
  EXPECT_EQ(w.windowTitle().toStdString(), "二维直流电阻率法地形改正");
  ScriptedMessages boxes;
  EXPECT_FALSE(w.cmdCompute->isEnabled());
  EXPECT_FALSE(w.compute());
  EXPECT_EQ(boxes.texts.back(), kMsgDc2dTopoNoFile);
  {
    ScriptedOpen open({prof + "demo_dc2d.hdo", prof + "demo_dc2d.top"});
    w.cmdOpen->click();
    EXPECT_NE(boxes.texts.back().find("首行应为：二维电阻率法地形改正数据文件"), std::string::npos);
    w.cmdOpen->click();
  }
  ASSERT_TRUE(w.cmdCompute->isEnabled());
  EXPECT_FALSE(w.cmdSaveResult->isEnabled());
  EXPECT_FALSE(w.chtSection->chart().series.empty());  // the observed pseudo-section
  w.txtCells->setValue(2);
  w.cmdCompute->click();
  ASSERT_TRUE(w.computed());
  EXPECT_NE(boxes.texts.back().find("地形改正完成"), std::string::npos);
  // Over the hill's crest the factor departs from 1; the corrected column is shown.
  double lo = 1e9, hi = 0;
  for (double t : w.correction().factor) lo = std::min(lo, t), hi = std::max(hi, t);
  EXPECT_GT(hi - lo, 0.01);
  EXPECT_EQ(w.cboShow->currentIndex(), 2);
  {
    ScriptedSaveDialogs saves({prof + "tc.dat", prof + "tc.so7", prof + "tc.sec"});
    w.cmdSaveResult->click();
    w.cmdSaveData->click();
    w.cmdSaveSection->click();
    EXPECT_EQ(saves.titles.at(1), kDc2dTopoDataTitle);
    EXPECT_NE(saves.filters.at(1).find(".so7"), std::string::npos);
  }
  for (const char* f : {"tc.dat", "tc.so7", "tc.sec"}) EXPECT_TRUE(exists(prof + f)) << f;
  w.cmdDrawSection->click();
  auto* plot = w.findChild<frmWTDrawContour*>("frmWTDrawContour");
  ASSERT_NE(plot, nullptr);
  EXPECT_EQ(plot->section().columns(), 3);
  EXPECT_EQ(plot->cboColumn->currentIndex(), 2);
}

TEST_F(Dc2dAutoWindows, SectionWindowFollowsItsOptionsSavesAndPrints) {
  frmWTDrawContour w;
  EXPECT_EQ(w.windowTitle().toStdString(), "断面图绘制");
  EXPECT_FALSE(w.cmdSave->isEnabled());
  ScriptedMessages boxes;
  {
    ScriptedOpen open({prof + "demo_dc2d.ter", prof + "demo_dc2d.hdo"});
    w.cmdOpen->click();
    EXPECT_EQ(boxes.texts.size(), 1u);  // a terrain file is no section
    w.cmdOpen->click();
  }
  ASSERT_EQ(w.cboColumn->count(), 2);  // ρa and ηa
  EXPECT_TRUE(w.chkLog->isChecked());
  auto count = [&](chart::SeriesKind k) {
    int n = 0;
    for (const auto& s : w.chtSection->chart().series) n += s.kind == k;
    return n;
  };
  EXPECT_EQ(count(chart::SeriesKind::Cells), 1);
  EXPECT_GT(count(chart::SeriesKind::Segments), 1);
  EXPECT_FALSE(w.chtSection->chart().notes.empty());  // contour labels
  // ηa: linear by default; no fill, no labels.
  w.cboColumn->setCurrentIndex(1);
  EXPECT_FALSE(w.chkLog->isChecked());
  w.chkFill->setChecked(false);
  w.chkLabel->setChecked(false);
  EXPECT_EQ(count(chart::SeriesKind::Cells), 0);
  EXPECT_FALSE(w.chtSection->chart().colourBar.has_value());
  EXPECT_TRUE(w.chtSection->chart().notes.empty());
  // Saved as PNG and SVG, printed to a PDF.
  {
    ScriptedSaveDialogs saves({prof + "s.png", prof + "s.svg"});
    w.cmdSave->click();
    w.cmdSave->click();
  }
  EXPECT_EQ(readWhole(prof + "s.png").substr(1, 3), "PNG");
  EXPECT_NE(readWhole(prof + "s.svg").find("<svg"), std::string::npos);
  QPrinter printer(QPrinter::ScreenResolution);
  printer.setOutputFormat(QPrinter::PdfFormat);
  printer.setOutputFileName(QString::fromStdString(prof + "s.pdf"));
  w.printTo(printer);
  EXPECT_EQ(readWhole(prof + "s.pdf").substr(0, 4), "%PDF");
}

}  // namespace
}  // namespace sarnoth::gui
