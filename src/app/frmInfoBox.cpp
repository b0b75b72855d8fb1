#include "app/frmInfoBox.h"

#include <QAction>
#include <QFile>
#include <QMenu>
#include <QPrintDialog>
#include <QPrinter>
#include <QTextDocument>
#include <QTextEdit>
#include <QVBoxLayout>
#include <cstdint>
#include <fstream>
#include <sstream>

#include "app/file_dialogs.h"
#include "app/messages.h"
#include "workarea/path_resolver.h"
#include "workarea/session.h"
#include "workarea/text_codec.h"

namespace sarnoth::gui {

std::string plainTextToRtf(const QString& text) {
  std::string out = "{\\rtf1\\ansi\\ansicpg936\\deff0{\\fonttbl{\\f0\\fnil\\fcharset134 SimSun;}}";
  out += "\\viewkind4\\uc1\\pard\\f0\\fs18 ";
  for (const QChar* p = text.constData(); !p->isNull(); ++p) {
    char16_t c = p->unicode();
    if (c == '\n') {
      out += "\\par\n";
    } else if (c == '\r') {
      continue;
    } else if (c == '\\' || c == '{' || c == '}') {
      out += '\\';
      out += static_cast<char>(c);
    } else if (c == '\t') {
      out += "\\tab ";
    } else if (c < 0x80) {
      out += static_cast<char>(c);
    } else {
      // \uN takes a signed 16-bit number, followed by one fallback character.
      out += "\\u" + std::to_string(static_cast<std::int16_t>(c)) + "?";
    }
  }
  out += "\\par\n}";
  return out;
}

frmInfoBox::frmInfoBox(QWidget* parent) : QDialog(parent) {
  setObjectName("frmInfoBox");
  setWindowTitle(QString::fromUtf8("信息提示窗 -- 按右键打开菜单"));
  rtbInfo = new QTextEdit(this);
  rtbInfo->setObjectName("rtbInfo");
  rtbInfo->setAcceptRichText(true);
  rtbInfo->setLineWrapMode(QTextEdit::NoWrap);
  rtbInfo->setContextMenuPolicy(Qt::CustomContextMenu);
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(0, 0, 0, 0);
  layout->addWidget(rtbInfo);

  mnuFile = new QMenu(QString::fromUtf8("文件控制(&F)"), this);
  mnuFile->setObjectName("mnuFile");
  mnuFileSave = mnuFile->addAction(QString::fromUtf8("存入文件(&S)"));
  mnuFileSave->setObjectName("mnuFileSave");
  mnuFilePrint = mnuFile->addAction(QString::fromUtf8("打印信息(&P)"));
  mnuFilePrint->setObjectName("mnuFilePrint");
  mnuFileReturn = mnuFile->addAction(QString::fromUtf8("返回(&)"));
  mnuFileReturn->setObjectName("mnuFileReturn");
  connect(mnuFileSave, &QAction::triggered, this, &frmInfoBox::mnuFileSave_Click);
  connect(mnuFilePrint, &QAction::triggered, this, &frmInfoBox::mnuFilePrint_Click);
  connect(mnuFileReturn, &QAction::triggered, this, &frmInfoBox::mnuFileReturn_Click);
  connect(rtbInfo, &QWidget::customContextMenuRequested, this,
          [this](const QPoint& at) { mnuFile->popup(rtbInfo->mapToGlobal(at)); });
  resize(560, 420);
}

std::string frmInfoBox::sourceFile() const {
  switch (mode) {
    case 1001:
      return gSysPath + "Ini_stru\\basicelem.txt";
    case 3000:
      return gPickedFile;
    case 4000:
      return filePath.toStdString();
    case 5000:
      return gSysPath + "gprocessmdp.gnf";
    case 20000:
      return {};
    default:
      return gTempPath + "Errorinfo.txt";
  }
}

bool frmInfoBox::load() {
  if (mode == 5000) {
    setWindowTitle(QString::fromUtf8("模块开发单位与开发者信息"));
    resize(760, 560);
  }
  if (mode == 20000) return true;
  const std::string file = sourceFile();
  std::ifstream f(resolvePath(file), std::ios::binary);
  if (file.empty() || !f) {
    notify(this, "打开文件错: " + file);
    return false;
  }
  std::ostringstream bytes;
  bytes << f.rdbuf();
  const std::string text = decodeFileText(bytes.str());
  rtbInfo->setPlainText(QString::fromStdString(text));
  rtbInfo->setFont(QFont("Noto Sans Mono CJK SC", 10));
  return true;
}

int frmInfoBox::run() {
  if (!load()) return Rejected;
  return exec();
}

bool frmInfoBox::saveTo(const QString& path) const {
  std::ofstream f(resolvePath(path.toStdString()), std::ios::binary | std::ios::trunc);
  if (!f) return false;
  const QString text = rtbInfo->toPlainText();
  if (path.endsWith(".rtf", Qt::CaseInsensitive)) {
    f << plainTextToRtf(text);
  } else {
    QString crlf = text;
    crlf.replace("\r\n", "\n").replace("\n", "\r\n");
    f << utf8ToGbk(crlf.toStdString());
  }
  return static_cast<bool>(f);
}

void frmInfoBox::printTo(QPrinter& printer) const { rtbInfo->document()->print(&printer); }

void frmInfoBox::mnuFileSave_Click() {
  const std::string name = askSaveFileName(
      this, "存入文件", "文本文件(*.RTF)|*.rtf|所有文件(*.*)|*.*", "*.txt", FileKind::Report);
  if (name.empty()) return;
  if (!saveTo(QString::fromStdString(name))) notify(this, "不能写入文件: " + name);
}

void frmInfoBox::mnuFilePrint_Click() {
  QPrinter printer;
  QPrintDialog dialog(&printer, this);
  if (dialog.exec() == QDialog::Accepted) printTo(printer);
}

void frmInfoBox::mnuFileReturn_Click() { close(); }

}  // namespace sarnoth::gui
