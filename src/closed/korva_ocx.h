// KORVAOCXLib.KorvaOcx: the closed map-display product control on the main window (KorvaO),
// used for four analysis dialogs. Each command makes two calls: operation 1 with gWorkPath and
// the database path gWorkPath + "Qury_Dat\QueryDB.mdb", then its own operation without
// arguments: 2 BP classification, 3 genetic network classification, 4 Koh clustering, 5 Tfi
// clustering.
#pragma once

#include <functional>
#include <string>

#include "workarea/interaction.h"

namespace sarnoth::closed {

inline constexpr int kKorvaSetWorkArea = 1;
inline constexpr int kKorvaBPClassify = 2;
inline constexpr int kKorvaGeneticClassify = 3;
inline constexpr int kKorvaKohCluster = 4;
inline constexpr int kKorvaTfiCluster = 5;

// The name of an operation for messages: "BP神经网络分类" …; "" for an unknown number.
std::string korvaOperationName(int op);

// An analysis dialog behind operations 2 to 5, given the work area the control was handed.
using KorvaOperation =
    std::function<Outcome(const std::string& workPath, const std::string& databasePath)>;

// Where an operation's implementation lands (2 to 5); an empty operation removes it.
void installKorvaOperation(int op, KorvaOperation impl);

// The control object: operation 1 keeps the work area, operations 2 to 5 run their dialog over
// it. An operation without an implementation, or run before operation 1, gives a failure with
// a clear text; unknown numbers are refused.
class KorvaOcx {
 public:
  Outcome call(int op);
  Outcome call(int op, const std::string& workPath, const std::string& databasePath);
  const std::string& workPath() const { return workPath_; }
  const std::string& databasePath() const { return databasePath_; }

 private:
  std::string workPath_;
  std::string databasePath_;
};

}  // namespace sarnoth::closed
