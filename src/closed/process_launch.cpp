#include "closed/process_launch.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "workarea/path_resolver.h"

namespace sarnoth::closed {
namespace {

bool writeAll(int fd, const void* data, std::size_t n) {
  const char* p = static_cast<const char*>(data);
  while (n > 0) {
    ssize_t w = ::write(fd, p, n);
    if (w < 0 && errno == EINTR) continue;
    if (w <= 0) return false;
    p += w;
    n -= static_cast<std::size_t>(w);
  }
  return true;
}

bool readAll(int fd, void* data, std::size_t n) {
  char* p = static_cast<char*>(data);
  while (n > 0) {
    ssize_t r = ::read(fd, p, n);
    if (r < 0 && errno == EINTR) continue;
    if (r <= 0) return false;
    p += r;
    n -= static_cast<std::size_t>(r);
  }
  return true;
}

}  // namespace

std::string findInPath(const std::string& name) {
  const char* path = std::getenv("PATH");
  if (!path || name.empty()) return {};
  std::string all(path);
  std::size_t start = 0;
  while (start <= all.size()) {
    std::size_t end = all.find(':', start);
    if (end == std::string::npos) end = all.size();
    std::string dir = all.substr(start, end - start);
    if (!dir.empty()) {
      std::string candidate = dir + "/" + name;
      if (::access(candidate.c_str(), X_OK) == 0) return candidate;
    }
    start = end + 1;
  }
  return {};
}

LaunchResult launchDetached(const std::string& program, const std::vector<std::string>& args) {
  LaunchResult r;
  std::string path = resolvePath(program);
  struct stat st {};
  if (::stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
    r.outcome = Outcome::failure("找不到外部程序: " + program);
    return r;
  }
  if (::access(path.c_str(), X_OK) != 0) {
    r.outcome = Outcome::failure("外部程序不能在本系统上运行: " + program);
    return r;
  }

  // The intermediate child starts its own session and forks the program, then ends at once, so
  // the program is reparented and never stays behind as a zombie of ours. The pipe carries the
  // program's pid, then (on a failed exec) its errno; a close without errno means it runs.
  int fds[2];
  if (::pipe2(fds, O_CLOEXEC) != 0) {
    r.outcome = Outcome::failure("外部程序启动失败: " + program + " " + std::strerror(errno));
    return r;
  }
  std::vector<std::string> argvStore;
  argvStore.push_back(path);
  argvStore.insert(argvStore.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (auto& a : argvStore) argv.push_back(a.data());
  argv.push_back(nullptr);

  pid_t child = ::fork();
  if (child < 0) {
    ::close(fds[0]);
    ::close(fds[1]);
    r.outcome = Outcome::failure("外部程序启动失败: " + program + " " + std::strerror(errno));
    return r;
  }
  if (child == 0) {
    ::close(fds[0]);
    ::setsid();
    pid_t grandchild = ::fork();
    if (grandchild < 0) ::_exit(1);
    if (grandchild == 0) {
      int devnull = ::open("/dev/null", O_RDWR);
      if (devnull >= 0) {
        ::dup2(devnull, 0);
        ::dup2(devnull, 1);
        ::dup2(devnull, 2);
      }
      ::execv(path.c_str(), argv.data());
      int err = errno;
      writeAll(fds[1], &err, sizeof err);
      ::_exit(127);
    }
    long gpid = grandchild;
    writeAll(fds[1], &gpid, sizeof gpid);
    ::_exit(0);
  }
  ::close(fds[1]);
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  long gpid = -1;
  bool gotPid = readAll(fds[0], &gpid, sizeof gpid);
  int err = 0;
  bool execFailed = readAll(fds[0], &err, sizeof err);
  ::close(fds[0]);
  if (!gotPid) {
    r.outcome = Outcome::failure("外部程序启动失败: " + program);
    return r;
  }
  if (execFailed) {
    r.outcome = Outcome::failure("外部程序启动失败: " + program + " " + std::strerror(err));
    return r;
  }
  r.pid = gpid;
  r.outcome = Outcome::success();
  return r;
}

bool isProgramRunning(const std::string& namePrefix) {
  namespace fs = std::filesystem;
  std::error_code ec;
  for (fs::directory_iterator it("/proc", ec), end; !ec && it != end; it.increment(ec)) {
    const std::string pidName = it->path().filename().string();
    if (pidName.empty() || pidName.find_first_not_of("0123456789") != std::string::npos) continue;
    std::ifstream stat(it->path() / "stat");
    std::string line;
    if (!std::getline(stat, line)) continue;
    // "pid (comm) S ...": the name may hold blanks and brackets, the state follows the last ')'.
    std::size_t open = line.find('(');
    std::size_t close = line.rfind(')');
    if (open == std::string::npos || close == std::string::npos || close < open) continue;
    std::string comm = line.substr(open + 1, close - open - 1);
    char state = close + 2 < line.size() ? line[close + 2] : '?';
    if (state == 'Z' || state == 'X') continue;
    if (comm.compare(0, namePrefix.size(), namePrefix) == 0) return true;
  }
  return false;
}

}  // namespace sarnoth::closed
