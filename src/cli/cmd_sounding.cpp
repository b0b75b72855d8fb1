// sounding forward|invert: the 1-D resistivity/IP sounding of a *.s?f or *.s?i file, with the
// result text (*.dat) the sounding window saves.
#include <iostream>

#include "cli/cli.h"
#include "electric/sounding_session.h"
#include "workarea/file_text.h"
#include "workarea/text_codec.h"

namespace sarnoth::cli {
namespace {

int runSounding(Args& a) {
  using namespace sarnoth::electric;
  const std::string job = a.pos(0), file = a.pos(1);
  if ((job != "forward" && job != "invert") || file.empty())
    return failWith(
        "usage: sarnoth-cli sounding forward|invert FILE -o OUT [--method marquardt|occam]");
  SoundingSession s;
  std::string error;
  if (!s.load(file, error)) return failWith(error);
  if ((job == "invert") != s.file().inverse())
    return failWith(job == "invert" ? "您选择的反演文件和您输入的反演参数不相符！"
                                    : "您选择的正演文件和您输入的正演参数不相符！");
  std::optional<InversionMethod> method;
  if (a.has("method")) {
    const std::string m = a.get("method");
    if (m == "marquardt")
      method = InversionMethod::Marquardt;
    else if (m == "occam")
      method = InversionMethod::Occam;
    else
      return failWith("--method: marquardt or occam");
  }
  Outcome o = s.compute(method);
  if (!o) return failWith(o.message);
  const std::string text = s.resultText();
  const std::string out = a.get("o", a.get("output"));
  if (out.empty()) {
    std::cout << text;
    return 0;
  }
  if (!filetext::writeWholeFile(out, utf8ToGbk(text))) return failWith("文件无法写入: " + out);
  if (const InversionResult* r = s.inversion())
    std::cerr << "RMS " << r->rmsPercent << " %, " << r->iterations << " iterations\n";
  return 0;
}

CommandRegistrar reg{{"sounding",
                      "1-D resistivity/IP sounding: forward or inverse of a sounding file",
                      "sarnoth-cli sounding forward FILE.s?f -o OUT.dat\n"
                      "sarnoth-cli sounding invert FILE.s?i -o OUT.dat [--method marquardt|occam]\n"
                      "  The result text: layer table and observed/computed curves. Without -o it\n"
                      "  goes to stdout.",
                      runSounding}};

}  // namespace
}  // namespace sarnoth::cli
