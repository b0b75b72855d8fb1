#include "workarea/jet_import.h"

#include <fcntl.h>
#include <iconv.h>
#include <mdbtools.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>

#include "workarea/jet_runtime.h"
#include "workarea/path_resolver.h"
#include "workarea/table_store.h"

namespace sarnoth {
namespace fs = std::filesystem;
namespace {

// Limits of the reading child. Its address space may grow this far (plus twice the file's size)
// beyond the parent's; a runaway allocation in libmdb ends there. The CPU limit backs up the
// silence timeout.
constexpr rlim_t kChildHeadroomBytes = 48ull << 20;
constexpr int kSilenceSeconds = 5;
constexpr std::uint32_t kMaxString = 64u << 20;
constexpr std::uint32_t kMaxColumns = 255;  // Jet's own limit

// ---- the messages the child sends --------------------------------------------------------------
//   'N' name               about to read this table
//   'T' name n {name type size}*n   a table's fields
//   'R' {cell}*n           one row; cell = 0 | 1 int64 | 2 double | 3 text
//   'E'                    end of the table's rows
//   'X' name               libmdb cannot read this table
//   'F' text               the file cannot be read
//   'D'                    done

class ChildWriter {
 public:
  explicit ChildWriter(int fd) : fd_(fd) {}
  void byte(char c) { buf_ += c; }
  void u32(std::uint32_t v) { buf_.append(reinterpret_cast<const char*>(&v), 4); }
  void i64(std::int64_t v) { buf_.append(reinterpret_cast<const char*>(&v), 8); }
  void f64(double v) { buf_.append(reinterpret_cast<const char*>(&v), 8); }
  void str(const std::string& s) {
    u32(static_cast<std::uint32_t>(s.size()));
    buf_ += s;
  }
  void flushIfFull() {
    if (buf_.size() > (1u << 16)) flush();
  }
  void flush() {
    std::size_t at = 0;
    while (at < buf_.size()) {
      ssize_t n = ::write(fd_, buf_.data() + at, buf_.size() - at);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) _exit(3);  // the parent has gone
      at += static_cast<std::size_t>(n);
    }
    buf_.clear();
  }

 private:
  int fd_;
  std::string buf_;
};

FieldDef fieldOf(const MdbHandle* mdb, const MdbColumn* col) {
  FieldDef f;
  f.name = col->name;
  switch (col->col_type) {
    case MDB_BOOL:
      f.type = JetType::Bit;
      break;
    case MDB_BYTE:
      f.type = JetType::Byte;
      break;
    case MDB_INT:
      f.type = JetType::Integer;
      break;
    case MDB_LONGINT:
      f.type = JetType::Long;
      break;
    case MDB_MONEY:
      f.type = JetType::Currency;
      break;
    case MDB_FLOAT:
      f.type = JetType::Single;
      break;
    case MDB_DOUBLE:
      f.type = JetType::Double;
      break;
    case MDB_NUMERIC:
      f.type = JetType::Double;
      break;
    case MDB_DATETIME:
      f.type = JetType::Date;
      break;
    case MDB_TEXT:
      f.type = JetType::Text;
      f.size = mdb->f->jet_version == MDB_VER_JET3 ? col->col_size : col->col_size / 2;
      if (f.size <= 0 || f.size > 255) f.size = 255;
      break;
    case MDB_MEMO:
      f.type = JetType::Memo;
      break;
    case MDB_OLE:
    case MDB_BINARY:
      f.type = JetType::Other;  // kept as their bytes
      break;
    default:
      f.type = JetType::Memo;  // replication ids and the like come as text
      break;
  }
  return f;
}

template <typename T>
T readLE(const unsigned char* p) {
  T v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

// The raw bytes of the current value of a fixed-width column, or null.
const unsigned char* rawValue(MdbHandle* mdb, const MdbColumn* col, int want) {
  if (col->cur_value_len != want || col->cur_value_start < 0 ||
      col->cur_value_start + want > static_cast<int>(sizeof mdb->pg_buf))
    return nullptr;
  return mdb->pg_buf + col->cur_value_start;
}

void limitChild(rlim_t addressSpace, rlim_t cpuSeconds) {
  rlimit r{};
  r.rlim_cur = r.rlim_max = 0;
  setrlimit(RLIMIT_CORE, &r);
  r.rlim_cur = r.rlim_max = addressSpace;
  setrlimit(RLIMIT_AS, &r);
  r.rlim_cur = r.rlim_max = cpuSeconds;
  setrlimit(RLIMIT_CPU, &r);
}

// The child: reads the file with libmdb and writes the messages above to `fd`. Never returns.
[[noreturn]] void childMain(const std::string& path, bool listOnly, int fd, long long fileSize) {
  int devnull = ::open("/dev/null", O_RDWR);
  if (devnull >= 0) {
    dup2(devnull, 1);
    dup2(devnull, 2);
  }
  // Jet 3 text is read in the code page of the file's header.
  unsetenv("MDB_JET3_CHARSET");
  ChildWriter out(fd);
  MdbHandle* mdb = mdb_open(path.c_str(), MDB_NOFLAGS);
  if (!mdb || !mdb_read_catalog(mdb, MDB_TABLE)) {
    out.byte('F');
    out.str(mdb ? "无法读取Jet数据库的目录" : "无法读取Jet数据库文件");
    out.flush();
    _exit(0);
  }
  mdb_set_bind_size(mdb, 1 << 16);
  // A damaged page chain can make libmdb go round in circles: no file holds more rows than it
  // has bytes.
  const long long rowCap = fileSize / 2 + 1000;
  long long rows = 0;
  for (unsigned i = 0; i < mdb->num_catalog; ++i) {
    auto* entry = static_cast<MdbCatalogEntry*>(g_ptr_array_index(mdb->catalog, i));
    if (entry->object_type != MDB_TABLE || mdb_is_system_table(entry)) continue;
    out.byte('N');
    out.str(entry->object_name);
    out.flush();
    if (listOnly) continue;
    MdbTableDef* table = mdb_read_table(entry);
    if (!table || !mdb_read_columns(table) || table->num_cols == 0 ||
        table->num_cols > kMaxColumns) {
      out.byte('X');
      out.str(entry->object_name);
      out.flush();
      _exit(0);
    }
    const unsigned ncols = table->num_cols;
    std::vector<std::unique_ptr<char[]>> bufs(ncols);
    std::vector<int> lens(ncols, 0);
    std::vector<FieldDef> defs;
    out.byte('T');
    out.str(table->name);
    out.u32(ncols);
    for (unsigned c = 0; c < ncols; ++c) {
      auto* col = static_cast<MdbColumn*>(g_ptr_array_index(table->columns, c));
      defs.push_back(fieldOf(mdb, col));
      out.str(col->name);
      out.byte(static_cast<char>(defs.back().type));
      out.u32(static_cast<std::uint32_t>(defs.back().size));
      bufs[c] = std::make_unique<char[]>(1 << 16);
      mdb_bind_column(table, static_cast<int>(c) + 1, bufs[c].get(), &lens[c]);
    }
    mdb_rewind_table(table);
    while (mdb_fetch_row(table)) {
      if (++rows > rowCap) {
        out.byte('X');
        out.str(table->name);
        out.flush();
        _exit(0);
      }
      out.byte('R');
      for (unsigned c = 0; c < ncols; ++c) {
        auto* col = static_cast<MdbColumn*>(g_ptr_array_index(table->columns, c));
        if (col->col_type == MDB_BOOL) {
          out.byte(1);
          out.i64(bufs[c][0] == '1' ? -1 : 0);
          continue;
        }
        if (lens[c] == 0 && col->cur_value_len == 0) {
          out.byte(0);
          continue;
        }
        if (col->col_type == MDB_OLE) {
          std::size_t size = 0;
          void* bytes = mdb_ole_read_full(mdb, col, &size);
          out.byte(3);
          out.str(bytes ? std::string(static_cast<const char*>(bytes), size) : std::string());
          std::free(bytes);
          continue;
        }
        const unsigned char* raw = nullptr;
        switch (col->col_type) {
          case MDB_BYTE:
            if ((raw = rawValue(mdb, col, 1))) {
              out.byte(1);
              out.i64(raw[0]);
            }
            break;
          case MDB_INT:
            if ((raw = rawValue(mdb, col, 2))) {
              out.byte(1);
              out.i64(readLE<std::int16_t>(raw));
            }
            break;
          case MDB_LONGINT:
            if ((raw = rawValue(mdb, col, 4))) {
              out.byte(1);
              out.i64(readLE<std::int32_t>(raw));
            }
            break;
          case MDB_FLOAT:
            if ((raw = rawValue(mdb, col, 4))) {
              out.byte(2);
              out.f64(readLE<float>(raw));
            }
            break;
          case MDB_DOUBLE:
            if ((raw = rawValue(mdb, col, 8))) {
              out.byte(2);
              out.f64(readLE<double>(raw));
            }
            break;
          case MDB_MONEY:
            if ((raw = rawValue(mdb, col, 8))) {
              out.byte(2);
              out.f64(static_cast<double>(readLE<std::int64_t>(raw)) / 10000.0);
            }
            break;
          case MDB_DATETIME:
            if ((raw = rawValue(mdb, col, 8))) {
              std::string text;
              if (jet::dateText(jet::linearOfSerial(readLE<double>(raw)), text)) {
                out.byte(3);
                out.str(text);
              } else {
                out.byte(0);  // outside the years Jet allows: no date
              }
            }
            break;
          default:
            break;
        }
        if (raw) continue;
        std::string text(bufs[c].get(), static_cast<std::size_t>(std::clamp(lens[c], 0, 1 << 16)));
        const FieldDef& d = defs[c];
        if (d.type == JetType::Text || d.type == JetType::Memo || d.type == JetType::Date) {
          out.byte(3);
          out.str(text);
        } else {
          out.byte(2);
          out.f64(std::strtod(text.c_str(), nullptr));
        }
      }
      out.flushIfFull();
    }
    out.byte('E');
    out.flush();
    mdb_free_tabledef(table);
  }
  out.byte('D');
  out.flush();
  _exit(0);
}

long long addressSpaceNow() {
  std::ifstream f("/proc/self/statm");
  long long pages = 0;
  f >> pages;
  return pages * sysconf(_SC_PAGESIZE);
}

// The parent's side: a reader of the child's messages with a silence timeout.
class ChildReader {
 public:
  ChildReader(pid_t pid, int fd) : pid_(pid), fd_(fd) {}
  ~ChildReader() { finish(); }

  // Kills the child if it still runs and reaps it; the signal that ended it, or 0.
  int finish() {
    if (fd_ >= 0) {
      ::close(fd_);
      fd_ = -1;
    }
    if (pid_ > 0) {
      int status = 0;
      if (waitpid(pid_, &status, WNOHANG) == 0) {
        kill(pid_, SIGKILL);
        waitpid(pid_, &status, 0);
      }
      pid_ = -1;
      signal_ = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    }
    return signal_;
  }

  bool timedOut() const { return timedOut_; }

  // Reads exactly n bytes; false at the end of the stream or on silence.
  bool need(std::size_t n) {
    while (buf_.size() - at_ < n) {
      if (at_ > (1u << 20)) {
        buf_.erase(0, at_);
        at_ = 0;
      }
      pollfd p{fd_, POLLIN, 0};
      int r = poll(&p, 1, kSilenceSeconds * 1000);
      if (r < 0 && errno == EINTR) continue;
      if (r == 0) {
        timedOut_ = true;
        return false;
      }
      char chunk[1 << 16];
      ssize_t got = ::read(fd_, chunk, sizeof chunk);
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) return false;
      buf_.append(chunk, static_cast<std::size_t>(got));
    }
    return true;
  }
  bool byte(char& c) {
    if (!need(1)) return false;
    c = buf_[at_++];
    return true;
  }
  template <typename T>
  bool num(T& v) {
    if (!need(sizeof v)) return false;
    std::memcpy(&v, buf_.data() + at_, sizeof v);
    at_ += sizeof v;
    return true;
  }
  bool str(std::string& s) {
    std::uint32_t n;
    if (!num(n) || n > kMaxString || !need(n)) return false;
    s.assign(buf_, at_, n);
    at_ += n;
    return true;
  }

 private:
  pid_t pid_;
  int fd_;
  std::string buf_;
  std::size_t at_ = 0;
  bool timedOut_ = false;
  int signal_ = 0;
};

// mdbtools trusts the file header; refuse files too short to hold a page or without the tag.
bool looksLikeJet(const std::string& path) {
  std::error_code ec;
  std::ifstream f(path, std::ios::binary);
  char head[32] = {0};
  f.read(head, sizeof head);
  return f.gcount() == 32 && fs::file_size(path, ec) >= 4096 &&
         (std::memcmp(head + 4, "Standard Jet DB", 15) == 0 ||
          std::memcmp(head + 4, "Standard ACE DB", 15) == 0);
}

// The child of a program with threads must not load libraries: the code-page converters
// libmdb opens are loaded once here, in the parent, and kept, so the child finds them loaded.
void preloadConverters() {
  static const bool loaded = [] {
    for (const char* cp : {"UCS-2LE", "CP1252", "CP936", "CP1251", "CP1250", "CP950"}) {
      iconv_t a = iconv_open("UTF-8", cp);
      iconv_t b = iconv_open(cp, "UTF-8");
      (void)a;  // kept open for the life of the program
      (void)b;
    }
    return true;
  }();
  (void)loaded;
}

// What the parent does with the child's stream.
struct Sink {
  virtual ~Sink() = default;
  virtual void table(const std::string& name, const std::vector<FieldDef>& defs) = 0;
  virtual void row(const std::vector<Value>& cells) = 0;
  virtual void tableEnd() = 0;
  virtual void listed(const std::string&) {}
};

// Runs the child on `path` and feeds its stream to `sink`. Returns the failure text, "" on success.
std::string readInChild(const std::string& path, const std::string& shown, bool listOnly,
                        Sink& sink) {
  std::error_code ec;
  auto size = static_cast<long long>(fs::file_size(path, ec));
  preloadConverters();
  int fds[2];
  if (pipe2(fds, O_CLOEXEC) != 0) return "无法启动Jet数据库读取进程";
  // An OLE object is read whole, and none is larger than the file that holds it.
  rlim_t space =
      static_cast<rlim_t>(addressSpaceNow()) + kChildHeadroomBytes + 2 * static_cast<rlim_t>(size);
  rlim_t cpu = static_cast<rlim_t>(20 + size / (1 << 20) * 4);
  pid_t pid = fork();
  if (pid < 0) {
    ::close(fds[0]);
    ::close(fds[1]);
    return "无法启动Jet数据库读取进程";
  }
  if (pid == 0) {
    ::close(fds[0]);
    limitChild(space, cpu);
    childMain(path, listOnly, fds[1], size);
  }
  ::close(fds[1]);
  ChildReader in(pid, fds[0]);
  std::string current;
  std::vector<FieldDef> defs;
  std::vector<Value> cells;
  auto damaged = [&](const std::string& why) {
    std::string msg = "Jet数据库文件已损坏, " + why + ": " + shown;
    if (!current.empty()) msg += " (数据表 " + current + ")";
    return msg;
  };
  while (true) {
    char kind;
    if (!in.byte(kind)) {
      bool silent = in.timedOut();
      int sig = in.finish();
      if (silent) return damaged("读取超时");
      if (sig) return damaged(std::string("读取时出错 (") + strsignal(sig) + ")");
      return damaged("数据不完整");
    }
    switch (kind) {
      case 'N':
        if (!in.str(current)) continue;
        if (listOnly) sink.listed(current);
        break;
      case 'T': {
        std::string name;
        std::uint32_t n = 0;
        if (!in.str(name) || !in.num(n) || n == 0 || n > kMaxColumns)
          return damaged("数据表结构错误");
        defs.assign(n, FieldDef{});
        for (auto& d : defs) {
          char t;
          std::uint32_t sz;
          if (!in.str(d.name) || !in.byte(t) || !in.num(sz)) return damaged("数据表结构错误");
          d.type = static_cast<JetType>(std::clamp<int>(t, 0, static_cast<int>(JetType::Other)));
          d.size = static_cast<int>(std::min<std::uint32_t>(sz, 255));
        }
        sink.table(name, defs);
        break;
      }
      case 'R': {
        cells.assign(defs.size(), std::monostate{});
        for (auto& v : cells) {
          char tag;
          if (!in.byte(tag)) return damaged("数据不完整");
          if (tag == 1) {
            std::int64_t x;
            if (!in.num(x)) return damaged("数据不完整");
            v = x;
          } else if (tag == 2) {
            double x;
            if (!in.num(x)) return damaged("数据不完整");
            v = x;
          } else if (tag == 3) {
            std::string s;
            if (!in.str(s)) return damaged("数据不完整");
            v = std::move(s);
          }
        }
        sink.row(cells);
        break;
      }
      case 'E':
        sink.tableEnd();
        break;
      case 'X': {
        std::string name;
        in.str(name);
        current = name;
        return damaged("数据表无法读取");
      }
      case 'F': {
        std::string text;
        in.str(text);
        return text + ": " + shown;
      }
      case 'D':
        in.finish();
        return "";
      default:
        return damaged("数据不完整");
    }
  }
}

struct ListSink : Sink {
  std::vector<std::string> names;
  void table(const std::string&, const std::vector<FieldDef>&) override {}
  void row(const std::vector<Value>&) override {}
  void tableEnd() override {}
  void listed(const std::string& n) override { names.push_back(n); }
};

struct StoreSink : Sink {
  Database& db;
  JetImportReport& rep;
  std::unique_ptr<TableWriter> writer;
  std::size_t width = 0;
  StoreSink(Database& d, JetImportReport& r) : db(d), rep(r) {}
  void table(const std::string& name, const std::vector<FieldDef>& defs) override {
    db.createTable(name, defs);
    rep.tables.push_back(name);
    std::vector<std::string> names;
    for (const auto& d : defs) names.push_back(d.name);
    writer = std::make_unique<TableWriter>(db, name, names);
    width = defs.size();
  }
  void row(const std::vector<Value>& cells) override {
    if (!writer) throw StoreError("row before table");
    for (std::size_t i = 0; i < width; ++i) writer->set(static_cast<int>(i), cells[i]);
    writer->addRow();
    ++rep.rows;
  }
  void tableEnd() override {
    if (writer) writer->commit();
    writer.reset();
  }
};

}  // namespace

std::vector<std::string> listJetTables(const std::string& mdbPathIn, std::string& error) {
  std::string mdbPath = resolvePath(mdbPathIn);
  if (!looksLikeJet(mdbPath)) {
    error = "不是有效的Jet数据库文件: " + mdbPathIn;
    return {};
  }
  ListSink sink;
  error = readInChild(mdbPath, mdbPathIn, true, sink);
  if (!error.empty()) return {};
  return sink.names;
}

Outcome importJetDatabase(const std::string& mdbPathIn, const std::string& sqlitePathIn,
                          JetImportReport* report) {
  std::string mdbPath = resolvePath(mdbPathIn);
  std::string sqlitePath = resolvePath(sqlitePathIn);
  std::error_code ec;
  if (!fs::is_regular_file(mdbPath, ec)) return Outcome::failure("找不到数据库文件: " + mdbPathIn);
  if (!looksLikeJet(mdbPath)) return Outcome::failure("不是有效的Jet数据库文件: " + mdbPathIn);
  std::string scratch = sqlitePath + ".importing";
  fs::remove(scratch, ec);
  JetImportReport rep;
  std::string failure;
  try {
    Database db = Database::open(scratch, true);
    db.begin();
    StoreSink sink(db, rep);
    failure = readInChild(mdbPath, mdbPathIn, false, sink);
    sink.writer.reset();
    if (failure.empty()) {
      db.commit();
    } else {
      db.rollback();
    }
  } catch (const StoreError& e) {
    failure = std::string("导入Jet数据库错误, ") + e.what();
  }
  if (!failure.empty()) {
    fs::remove(scratch, ec);
    fs::remove(scratch + "-journal", ec);
    return Outcome::failure(failure);
  }
  fs::rename(scratch, sqlitePath, ec);
  if (ec) {
    fs::remove(scratch, ec);
    return Outcome::failure("无法写入数据库文件: " + sqlitePathIn);
  }
  if (report) *report = std::move(rep);
  return Outcome::success();
}

}  // namespace sarnoth
