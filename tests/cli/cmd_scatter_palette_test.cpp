// sarnoth-cli scatter / gph / palette as a user drives them.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace {

namespace fs = std::filesystem;

struct CliRun {
  int status;
  std::string out;
};

CliRun cli(const std::string& args) {
  std::string cmd = std::string(SARNOTH_BIN_DIR) + "/sarnoth-cli " + args + " 2>&1";
  CliRun r{0, {}};
  FILE* p = popen(cmd.c_str(), "r");
  if (!p) return {-1, {}};
  char buf[4096];
  std::size_t n;
  while ((n = fread(buf, 1, sizeof buf, p)) > 0) r.out.append(buf, n);
  r.status = pclose(p);
  return r;
}

std::string slurp(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  std::ostringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

class CliScatterTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!fs::exists(std::string(SARNOTH_BIN_DIR) + "/sarnoth-cli"))
      GTEST_SKIP() << "sarnoth-cli not built";
    dir_ = fs::temp_directory_path() / ("sarnoth_cli_scatter_" + std::to_string(::getpid()));
    fs::remove_all(dir_);
    fs::create_directories(dir_);
  }
  void TearDown() override { fs::remove_all(dir_); }
  std::string p(const std::string& name) const { return (dir_ / name).string(); }
  fs::path dir_;
};

TEST_F(CliScatterTest, ConvertsBetweenFormsAndGradesWithTheShippedRamp) {
  std::ofstream(p("in.csv")) << "X,Y,Au\n1,2,0.5\n3,4,\n5,6,12.25\n";
  ASSERT_EQ(cli("scatter convert " + p("in.csv") + " " + p("a.dat") + " --to binary").status, 0);
  ASSERT_EQ(cli("scatter convert " + p("a.dat") + " " + p("a.txt") + " --to ascii").status, 0);
  ASSERT_EQ(cli("scatter convert " + p("a.txt") + " " + p("b.dat") + " --to binary").status, 0);
  EXPECT_EQ(slurp(p("a.dat")), slurp(p("b.dat")));
  CliRun info = cli("scatter info " + p("b.dat"));
  EXPECT_NE(info.out.find("points:      3"), std::string::npos) << info.out;
  EXPECT_NE(info.out.find("Au\t2 values\t0.5 .. 12.25"), std::string::npos) << info.out;

  CliRun g = cli("palette grade --mode equal --scatter " + p("b.dat") +
                 " --field Au --min 0 --max 12 --interval 4 --decimals 1 --save " + p("g.pal"));
  ASSERT_EQ(g.status, 0) << g.out;
  EXPECT_NE(g.out.find("0\t4.0\t260\t#"), std::string::npos) << g.out;
  EXPECT_NE(g.out.find("2\t12.0\t"), std::string::npos) << g.out;
  EXPECT_NE(slurp(p("g.pal")).find("3\r\n4.0,260\r\n8.0,"), std::string::npos);

  CliRun refused = cli("palette grade --mode log --min 1 --max 1000 --interval 0");
  EXPECT_NE(refused.status, 0);
  EXPECT_NE(refused.out.find("对数分级间隔不能小于等于 0 或大于 1."), std::string::npos);

  std::ofstream(p("bad.gph")) << "#SRNTHCRDGP#\nPR 1 2\n0 0\n1 1\n";
  CliRun gph = cli("gph info --polygons " + p("bad.gph"));
  EXPECT_NE(gph.status, 0);
  EXPECT_NE(gph.out.find("读数据文件错."), std::string::npos) << gph.out;
}

}  // namespace
