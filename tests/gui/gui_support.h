// Shared fixtures of the GUI tests: a fresh work area and program directory per test, grid files
// written byte by byte, and a driver for dialogs that a window runs with exec().
#pragma once

#include <gtest/gtest.h>

#include <QApplication>
#include <QTimer>
#include <QWidget>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "datatools/forms/data_form_support.h"
#include "workarea/session.h"
#include "workarea/work_area.h"

namespace sarnoth::testing {

// A work area and a program directory under a fresh temporary directory; the session points at
// them and is restored afterwards.
class SessionFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    std::random_device rd;
    root_ = std::filesystem::temp_directory_path() /
            ("sarnoth_gui_" + std::to_string(rd()) + "_" + std::to_string(::getpid()));
    std::filesystem::create_directories(root_ / "sys");
    ASSERT_TRUE(createWorkArea((root_ / "area").string()).ok);
    saved_ = {gSysPath, gWorkPath, gTempPath, gPickedFile, gViewConnect, gViewSource};
    gSysPath = (root_ / "sys").string() + "/";
    gWorkPath = (root_ / "area").string() + "/";
    gTempPath = (root_ / "area" / "temp").string() + "/";
    gPickedFile.clear();
  }
  void TearDown() override {
    gSysPath = saved_[0];
    gWorkPath = saved_[1];
    gTempPath = saved_[2];
    gPickedFile = saved_[3];
    gViewConnect = saved_[4];
    gViewSource = saved_[5];
    std::error_code ec;
    std::filesystem::remove_all(root_, ec);
  }

  std::string area(const std::string& rel) const { return (root_ / "area" / rel).string(); }
  std::string sys(const std::string& rel) const { return (root_ / "sys" / rel).string(); }

  static void writeFile(const std::string& path, const std::string& bytes) {
    std::ofstream f(path, std::ios::binary | std::ios::trunc);
    f << bytes;
  }
  static std::string readFile(const std::string& path) {
    std::ifstream f(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(f), {});
  }

  // A binary grid: magic, method, the 68-byte header and nx·ny nodes.
  static void writeGridFile(const std::string& path, const std::string& magic, int nx, int ny,
                            float x0, float y0, float dx, float dy, const std::string& note = "") {
    std::string b = magic;
    b.resize(12, ' ');
    std::string method = "kriging";
    method.resize(20, ' ');
    b += method;
    auto put = [&b](const void* p, std::size_t n) { b.append(static_cast<const char*>(p), n); };
    float angle = 0, nullValue = -1e38f, zMin = 1.5f, zMax = 99.25f;
    std::int16_t snx = static_cast<std::int16_t>(nx), sny = static_cast<std::int16_t>(ny);
    std::int32_t valid = nx * ny;
    std::string n = note;
    n.resize(28, ' ');
    put(&x0, 4);
    put(&y0, 4);
    put(&angle, 4);
    b += n;
    put(&snx, 2);
    put(&sny, 2);
    put(&dx, 4);
    put(&dy, 4);
    put(&nullValue, 4);
    put(&zMin, 4);
    put(&zMax, 4);
    put(&valid, 4);
    for (int i = 0; i < nx * ny; ++i) {
      float v = static_cast<float>(i);
      put(&v, 4);
    }
    b += "#ENDDATA#";
    writeFile(path, b);
  }

  std::filesystem::path root_;

 private:
  std::vector<std::string> saved_;
};

// Acts on the modal dialogs a window runs with exec(), one step per dialog in the order they
// appear (each step must close its dialog). Polls the event loop, which a modal loop keeps
// running; stops when the steps are used up or the script is destroyed.
class ModalScript {
 public:
  using Step = std::function<void(QWidget*)>;
  explicit ModalScript(std::vector<Step> steps) : steps_(std::move(steps)) {
    timer_.setInterval(5);
    QObject::connect(&timer_, &QTimer::timeout, [this] { tick(); });
    timer_.start();
  }
  std::size_t done() const { return next_; }

 private:
  void tick() {
    if (next_ >= steps_.size()) {
      timer_.stop();
      return;
    }
    QWidget* w = QApplication::activeModalWidget();
    if (!w || w->property("sarnothScripted").toBool()) return;
    w->setProperty("sarnothScripted", true);
    steps_[next_++](w);
  }
  std::vector<Step> steps_;
  std::size_t next_ = 0;
  QTimer timer_;
};

// Answers the open dialogs from a queue (an empty answer once it runs out) and records their
// titles, filters and start directories.
struct ScriptedOpen {
  explicit ScriptedOpen(std::vector<std::string> answers) : answers_(std::move(answers)) {
    previous_ = gui::setOpenDialogHandler(
        [this](const std::string& title, const std::string& filter, const std::string& dir) {
          titles.push_back(title);
          filters.push_back(filter);
          dirs.push_back(dir);
          return next_ < answers_.size() ? answers_[next_++] : std::string();
        });
  }
  ~ScriptedOpen() { gui::setOpenDialogHandler(previous_); }
  ScriptedOpen(const ScriptedOpen&) = delete;
  ScriptedOpen& operator=(const ScriptedOpen&) = delete;
  std::vector<std::string> titles, filters, dirs;

 private:
  std::vector<std::string> answers_;
  std::size_t next_ = 0;
  gui::FileDialogHandler previous_;
};

}  // namespace sarnoth::testing
