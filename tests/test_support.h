// Small helpers shared by the tests: scratch directories and the shared data folder.
#pragma once

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

namespace sarnoth::test {

// A fresh directory under the system temp folder, removed when the object goes.
class TempDir {
 public:
  TempDir() {
    std::random_device rd;
    path_ = std::filesystem::temp_directory_path() /
            ("sarnoth-test-" + std::to_string(rd()) + "-" + std::to_string(rd()));
    std::filesystem::create_directories(path_);
  }
  ~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  std::string str() const { return path_.string(); }
  // The directory with a trailing separator, as gWorkPath holds a work area.
  std::string dir() const { return path_.string() + "/"; }
  std::string file(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

inline void writeFile(const std::string& path, const std::string& bytes) {
  std::ofstream f(path, std::ios::binary);
  f << bytes;
}

inline std::string readFile(const std::string& path) {
  std::ifstream f(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(f), {});
}

// For tests of file readers and writers: files by name in a scratch directory of their own.
class ScratchFiles {
 protected:
  std::string path(const std::string& name) const { return tmp_.file(name); }
  void put(const std::string& name, const std::string& bytes) const {
    writeFile(path(name), bytes);
  }
  std::string get(const std::string& name) const { return readFile(path(name)); }

  TempDir tmp_;
};

// ../shared/data beside the project, or "" when it is absent.
inline std::string sharedData(const std::string& rel) {
  std::filesystem::path p =
      std::filesystem::path(SARNOTH_SOURCE_DIR) / ".." / "shared" / "data" / rel;
  std::error_code ec;
  return std::filesystem::exists(p, ec) ? p.string() : std::string();
}

struct CliResult {
  int status;       // as pclose returns it: 0 on success
  std::string out;  // stdout and stderr together
};

// Runs the built sarnoth-cli with `args` (shell words) and collects what it printed.
inline CliResult runCli(const std::string& args) {
  std::string cmd = std::string(SARNOTH_BIN_DIR) + "/sarnoth-cli " + args + " 2>&1";
  CliResult r{0, {}};
  FILE* p = popen(cmd.c_str(), "r");
  if (!p) return {-1, "popen failed"};
  std::array<char, 4096> buf{};
  while (std::size_t n = std::fread(buf.data(), 1, buf.size(), p)) r.out.append(buf.data(), n);
  r.status = pclose(p);
  return r;
}

}  // namespace sarnoth::test
