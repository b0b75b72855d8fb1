// SarnothA.SarnothAX: the closed product control on the main window (SarnAX). The workbench
// uses it for one thing only, factor analysis ("因子分析"): operation 60030001 (hexadecimal),
// called by dispatch number with two strings, in this order the database path
// gWorkPath + "Qury_Dat\queryDB.mdb" and gWorkPath.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "workarea/interaction.h"

namespace sarnoth::closed {

inline constexpr std::uint32_t kSarnothAxFactorAnalysis = 0x60030001;
inline constexpr const char* kSarnothAxName = "因子分析组件 (SarnothAX)";

// One operation of the control by dispatch number with its string arguments.
using SarnothAxOperation = std::function<Outcome(const std::vector<std::string>& args)>;

// Where an operation's implementation lands; an empty operation removes it.
void installSarnothAxOperation(std::uint32_t dispatchId, SarnothAxOperation op);

// Calls operation `dispatchId`. An operation without an implementation gives a failure that says
// it is not yet available.
Outcome invokeSarnothAx(std::uint32_t dispatchId, const std::vector<std::string>& args);

// Factor analysis as the menu calls it.
Outcome runFactorAnalysis(const std::string& databasePath, const std::string& workPath);

}  // namespace sarnoth::closed
