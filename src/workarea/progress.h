// Progress of long work: a maximum, a value, and a hook that lets pending window events run.
// The GUI binds it to a window's progress bar; the CLI draws a line on stderr when it is a
// terminal.
#pragma once

#include <cstdint>
#include <functional>

namespace sarnoth {

class Progress {
 public:
  Progress() = default;
  virtual ~Progress() = default;

  virtual void setMaximum(std::int64_t max) { max_ = max; }
  virtual void setValue(std::int64_t value) { value_ = value; }
  // Lets pending window events run; returns false when the user asked to stop.
  virtual bool pump() { return pumpHook_ ? pumpHook_() : true; }

  std::int64_t maximum() const { return max_; }
  std::int64_t value() const { return value_; }
  void setPumpHook(std::function<bool()> hook) { pumpHook_ = std::move(hook); }

 private:
  std::int64_t max_ = 0;
  std::int64_t value_ = 0;
  std::function<bool()> pumpHook_;
};

// A progress that reports nothing, for callers that do not watch.
inline Progress& noProgress() {
  static thread_local Progress p;
  return p;
}

}  // namespace sarnoth
