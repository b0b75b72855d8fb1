#include "electric/mt2d_solver.h"

#include <algorithm>

namespace sarnoth::electric::detail {
namespace {

constexpr int kLeafSide = 4;

void dissect(int nx, int j0, int j1, int k0, int k1, std::vector<int>& order) {
  const int w = j1 - j0, h = k1 - k0;
  if (w <= 0 || h <= 0) return;
  if (w <= kLeafSide && h <= kLeafSide) {
    for (int k = k0; k < k1; ++k)
      for (int j = j0; j < j1; ++j) order.push_back(k * nx + j);
    return;
  }
  if (w >= h) {
    const int m = j0 + w / 2;
    dissect(nx, j0, m, k0, k1, order);
    dissect(nx, m + 1, j1, k0, k1, order);
    for (int k = k0; k < k1; ++k) order.push_back(k * nx + m);
  } else {
    const int m = k0 + h / 2;
    dissect(nx, j0, j1, k0, m, order);
    dissect(nx, j0, j1, m + 1, k1, order);
    for (int j = j0; j < j1; ++j) order.push_back(m * nx + j);
  }
}

}  // namespace

std::vector<int> gridNestedDissection(int nx, int nz) {
  std::vector<int> order;
  order.reserve(static_cast<std::size_t>(nx) * static_cast<std::size_t>(nz));
  dissect(nx, 0, nx, 0, nz, order);
  return order;
}

void LdltSymbolic::analyse(int size, const int* ap, const int* ai) {
  n = size;
  parent.assign(static_cast<std::size_t>(n), -1);
  std::vector<int> count(static_cast<std::size_t>(n), 0), flag(static_cast<std::size_t>(n), -1);
  for (int k = 0; k < n; ++k) {
    flag[static_cast<std::size_t>(k)] = k;
    for (int p = ap[k]; p < ap[k + 1]; ++p) {
      int i = ai[p];
      if (i >= k) continue;
      // Up the tree from i until a node already met in this row.
      for (; flag[static_cast<std::size_t>(i)] != k; i = parent[static_cast<std::size_t>(i)]) {
        if (parent[static_cast<std::size_t>(i)] == -1) parent[static_cast<std::size_t>(i)] = k;
        ++count[static_cast<std::size_t>(i)];
        flag[static_cast<std::size_t>(i)] = k;
      }
    }
  }
  colPtr.assign(static_cast<std::size_t>(n) + 1, 0);
  for (int k = 0; k < n; ++k)
    colPtr[static_cast<std::size_t>(k) + 1] =
        colPtr[static_cast<std::size_t>(k)] + count[static_cast<std::size_t>(k)];
}

LdltFactor::LdltFactor(const LdltSymbolic& s)
    : s_(s),
      rowIdx_(s.factorEntries()),
      values_(s.factorEntries()),
      diag_(static_cast<std::size_t>(s.n)),
      flag_(static_cast<std::size_t>(s.n)),
      pattern_(static_cast<std::size_t>(s.n)),
      count_(static_cast<std::size_t>(s.n)),
      y_(static_cast<std::size_t>(s.n)) {}

bool LdltFactor::factorise(const int* ap, const int* ai, const Complex* ax) {
  const int n = s_.n;
  const int* lp = s_.colPtr.data();
  const int* parent = s_.parent.data();
  int* flag = flag_.data();
  int* pattern = pattern_.data();
  int* lnz = count_.data();
  int* li = rowIdx_.data();
  Complex* lx = values_.data();
  Complex* y = y_.data();
  std::fill(count_.begin(), count_.end(), 0);
  for (int k = 0; k < n; ++k) {
    // Row k of L: the nonzero pattern of L(k, 0:k-1) by the tree, then a sparse triangular solve.
    y[k] = 0;
    int top = n;
    flag[k] = k;
    for (int p = ap[k]; p < ap[k + 1]; ++p) {
      int i = ai[p];
      if (i > k) continue;
      y[i] += ax[p];
      int len = 0;
      for (; flag[i] != k; i = parent[i]) {
        pattern[len++] = i;
        flag[i] = k;
      }
      while (len > 0) pattern[--top] = pattern[--len];
    }
    Complex d = y[k];
    y[k] = 0;
    for (; top < n; ++top) {
      const int i = pattern[top];
      const Complex yi = y[i];
      y[i] = 0;
      const int end = lp[i] + lnz[i];
      for (int p = lp[i]; p < end; ++p) y[li[p]] -= lx[p] * yi;
      const Complex l = yi / diag_[static_cast<std::size_t>(i)];
      d -= l * yi;
      li[end] = k;
      lx[end] = l;
      ++lnz[i];
    }
    if (d == Complex(0, 0)) return false;
    diag_[static_cast<std::size_t>(k)] = d;
  }
  return true;
}

void LdltFactor::solve(Complex* b, int nrhs) const {
  const int n = s_.n;
  const int* lp = s_.colPtr.data();
  const int* li = rowIdx_.data();
  const Complex* lx = values_.data();
  const std::size_t w = static_cast<std::size_t>(nrhs);
  // L y = b, column by column.
  for (int j = 0; j < n; ++j) {
    const Complex* bj = b + static_cast<std::size_t>(j) * w;
    for (int p = lp[j]; p < lp[j + 1]; ++p) {
      Complex* bi = b + static_cast<std::size_t>(li[p]) * w;
      const Complex l = lx[p];
      for (std::size_t r = 0; r < w; ++r) bi[r] -= l * bj[r];
    }
  }
  for (int j = 0; j < n; ++j) {
    Complex* bj = b + static_cast<std::size_t>(j) * w;
    const Complex inv = Complex(1, 0) / diag_[static_cast<std::size_t>(j)];
    for (std::size_t r = 0; r < w; ++r) bj[r] *= inv;
  }
  // Lᵀ x = y, backwards.
  for (int j = n - 1; j >= 0; --j) {
    Complex* bj = b + static_cast<std::size_t>(j) * w;
    for (int p = lp[j]; p < lp[j + 1]; ++p) {
      const Complex* bi = b + static_cast<std::size_t>(li[p]) * w;
      const Complex l = lx[p];
      for (std::size_t r = 0; r < w; ++r) bj[r] -= l * bi[r];
    }
  }
}

}  // namespace sarnoth::electric::detail
