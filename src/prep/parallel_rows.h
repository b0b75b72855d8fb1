// Row bands on all cores, for node-independent grid work (median, kriging).
//
// Rows are dealt out in contiguous bands, one per thread; each node's result depends only on
// its own inputs, so the grid does not depend on the number of threads.
#pragma once

#include <algorithm>
#include <thread>
#include <vector>

namespace sarnoth::detail {

inline constexpr int kMaxBandThreads = 16;

// Calls fn(rowBegin, rowEnd, threadIndex) for disjoint bands that cover [0, rows), on at most
// `maxThreads` threads (0: one per core, up to kMaxBandThreads).
template <class Fn>
void forRowBands(int rows, Fn&& fn, int minRowsPerThread = 4, int maxThreads = 0) {
  int hw = static_cast<int>(std::thread::hardware_concurrency());
  int threads = std::clamp(maxThreads > 0 ? maxThreads : hw, 1, kMaxBandThreads);
  threads = std::max(1, std::min(threads, rows / std::max(1, minRowsPerThread)));
  if (threads <= 1) {
    fn(0, rows, 0);
    return;
  }
  std::vector<std::thread> pool;
  pool.reserve(static_cast<std::size_t>(threads - 1));
  auto band = [&](int t) {
    int b = static_cast<int>(static_cast<long long>(rows) * t / threads);
    int e = static_cast<int>(static_cast<long long>(rows) * (t + 1) / threads);
    fn(b, e, t);
  };
  for (int t = 1; t < threads; ++t) pool.emplace_back(band, t);
  band(0);
  for (auto& th : pool) th.join();
}

}  // namespace sarnoth::detail
