// The sparse direct solver of the 2-D magnetotelluric forward: LDLᵀ of a complex symmetric
// matrix (Aᵀ = A, no conjugation) in a nested-dissection ordering of the mesh's nodes.
//
// How
//   Ordering: nested dissection of the rectangular grid of unknowns (George 1973, SIAM J. Numer.
//   Anal. 10, 345–363): the longer side is cut by a line of nodes, both halves are ordered
//   first, recursively, and the line last; blocks of at most 4 × 4 nodes keep their natural
//   order. On an n-node grid the factor then holds O(n log n) entries and costs O(n^1.5).
//   Factorisation: up-looking LDLᵀ, row by row along the elimination tree (Davis 2005, "Algorithm
//   849: a concise sparse Cholesky factorization package", ACM TOMS 31, 587–591), with the
//   transpose in place of the conjugate transpose. Without pivoting this is stable when the
//   real part of A is positive definite (Higham 1998, Math. Comp. 67, 1591–1599), as it is for
//   both modes here: a Laplacian (weighted by ρ for TM) with a fixed top row, plus iωμ times a
//   non-negative diagonal and bottom terms √(iωμσ) with positive real parts.
//   Eigen's own LDLᵀ takes Hermitian matrices only, and its general SparseLU does twice the
//   arithmetic; on the 150 × 80 benchmark mesh this factorisation is about three times faster.
//   Solves run on blocks of right-hand sides stored row by row, so that the many adjoint
//   fields of one frequency stream through the factor once.
//
// Where it fails: a zero pivot (a singular matrix, which a valid mesh never gives) is reported.
#pragma once

#include <complex>
#include <vector>

namespace sarnoth::electric::detail {

using Complex = std::complex<double>;

// Nested-dissection order of an nx × nz grid whose node (j, k) has the index k·nx + j:
// order[new] = old.
std::vector<int> gridNestedDissection(int nx, int nz);

// The pattern of the factor, shared by every frequency (and thread) of a mode.
struct LdltSymbolic {
  int n = 0;
  std::vector<int> parent;  // elimination tree
  std::vector<int> colPtr;  // columns of L
  // From the pattern of A: column pointers and row indices (both triangles, columns sorted).
  void analyse(int n, const int* aColPtr, const int* aRow);
  std::size_t factorEntries() const {
    return colPtr.empty() ? 0 : static_cast<std::size_t>(colPtr.back());
  }
};

class LdltFactor {
 public:
  explicit LdltFactor(const LdltSymbolic& s);
  // Factorises the matrix whose values sit in the pattern given to analyse(); false on a zero
  // pivot.
  bool factorise(const int* aColPtr, const int* aRow, const Complex* aValues);
  // Solves A X = B in place; B has n rows of `nrhs` values each (row-major).
  void solve(Complex* b, int nrhs) const;

 private:
  const LdltSymbolic& s_;
  std::vector<int> rowIdx_;
  std::vector<Complex> values_, diag_;
  mutable std::vector<int> flag_, pattern_, count_;
  mutable std::vector<Complex> y_;
};

}  // namespace sarnoth::electric::detail
