// How an engine talks to the person at the screen without showing anything itself.
//
// Engines return an outcome carrying the system's exact text, and take an Interaction for the
// questions they must ask mid-way. The GUI answers through message boxes, the CLI through flags,
// the tests through a script.
#pragma once

#include <deque>
#include <string>
#include <vector>

namespace sarnoth {

inline constexpr const char* kTitle = "Sarnoth 提示";
inline constexpr const char* kTitleInfo = "Sarnoth提示信息";

enum class Buttons { Ok, OkCancel, YesNo, YesNoCancel };
enum class Answer { Ok, Cancel, Yes, No };
enum class Icon { None, Information, Warning, Critical, Question };

class Interaction {
 public:
  virtual ~Interaction() = default;
  // A question with buttons; returns the button pressed.
  virtual Answer ask(const std::string& title, const std::string& text, Buttons buttons,
                     Icon icon = Icon::Question) = 0;
  // A message with an OK button.
  virtual void inform(const std::string& title, const std::string& text,
                      Icon icon = Icon::Information) = 0;
};

// Answers from a fixed script, records every text shown. For tests and batch runs.
class ScriptedInteraction : public Interaction {
 public:
  ScriptedInteraction() = default;
  explicit ScriptedInteraction(std::deque<Answer> answers, Answer fallback = Answer::No)
      : answers_(std::move(answers)), fallback_(fallback) {}

  Answer ask(const std::string& title, const std::string& text, Buttons, Icon) override {
    shown.push_back(title + "|" + text);
    asked.push_back(text);
    if (answers_.empty()) return fallback_;
    Answer a = answers_.front();
    answers_.pop_front();
    return a;
  }
  void inform(const std::string& title, const std::string& text, Icon) override {
    shown.push_back(title + "|" + text);
    informed.push_back(text);
  }

  std::vector<std::string> shown;     // "title|text" of everything, in order
  std::vector<std::string> asked;     // texts of questions
  std::vector<std::string> informed;  // texts of messages

 private:
  std::deque<Answer> answers_;
  Answer fallback_ = Answer::No;
};

// The outcome of a tool job: ok, or the system's message that stopped it.
struct Outcome {
  bool ok = true;
  std::string message;  // the system's text when !ok, or a report line when ok
  static Outcome success(std::string text = {}) { return {true, std::move(text)}; }
  static Outcome failure(std::string text) { return {false, std::move(text)}; }
  explicit operator bool() const { return ok; }
};

}  // namespace sarnoth
