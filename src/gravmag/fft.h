// The frequency-domain tool's own radix-2 transform, one- and two-dimensional.
//
// What: the discrete Fourier transform of a power-of-two length n = 2^m with the kernel
// e^(−iθ) and no scaling (forward), and the two-dimensional transform of a padded grid built
// from it, whose inverse divides by the sizes. Every frequency-domain engine of gravmag/
// (continuation, derivatives, pole reduction, the filter component, space-domain operators and
// the interface inversions) goes through fft2d, so their spectra agree to the last bit.
//
// How (fft1d, the tool's routine, kept exactly):
//   - in-place decimation in time; bit reversal by the usual counter (j from 0, k = n/2, while
//     j ≥ k: j −= k, k /= 2; then j += k), swapping where the counter exceeds the index;
//   - stage L = 1..m: le1 = 2^(L−1), le = 2·le1; (wr, wi) = (cos, sin) of 3.14159/le1 in double
//     precision, from the literal 3.14159 and not π; the twiddle (ur, ui) starts at (1, 0) as
//     singles and after each j becomes (ur·wr − ui·wi, ui·wr + ur·wi) computed in double and
//     rounded to single; butterfly tr = ui·im[ip] + ur·re[ip], ti = ur·im[ip] − ui·re[ip],
//     re[ip] = re[i] − tr, im[ip] = im[i] − ti, re[i] += tr, im[i] += ti, all in single.
//   - fft2d(direction d): for d < 1 all imaginary parts are negated first and the divisors are
//     cr = nxp, cc = nyp (else 1); each row is transformed and divided by cr; each column is
//     transformed, its real part divided by cc and its imaginary part divided by cc and
//     multiplied by d. So d = −1 is the inverse, conj(F(conj x))/(nxp·nyp).
//
// Speed without changing a bit: the twiddles of each length are computed once by the same
// recurrence (Radix2Plan); rows and columns are transformed eight at a time in lanes
// (element k of sequence b at k·8 + b), so one cache line feeds eight columns and the compiler
// runs the eight identical butterflies as vector operations; batches are dealt over the cores
// (prep/parallel_rows.h). Each lane does exactly the scalar arithmetic above, so the result is
// independent of the lane width and of the number of threads (tested bit for bit against the
// scalar fft1d on one thread). The division by a power of two is done as a multiplication by
// its exact reciprocal, which rounds identically.
//
// Accuracy: single precision; the twiddle recurrence drifts by about 1e-7 per step, and the
// literal 3.14159 misplaces the angles by 2.7e-6 relative, so a forward-inverse round trip of a
// 4096-point sequence returns it to about 1e-5 of its largest value. Fine for potential fields
// whose data carry three to five significant digits; not a transform for exact convolution.
//
// Where it fails: n must be a power of two (paddedSize gives the length); lengths beyond 2^15
// are not needed by grids (32767 columns at most) and not supported.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

namespace sarnoth::gravmag {

// One spectrum element: real and imaginary part, single precision, as the tool stores them.
struct CFloat {
  float re = 0;
  float im = 0;
};

// The padded length of n data: p = round(log(n)/2.302585 ÷ log(2)/2.302585 + 0.00001),
// size = 2^p, doubled (and p raised) while below n. The smallest power of two not below n; a
// power of two is not padded. n ≥ 1.
struct PaddedSize {
  int size = 1;
  int power = 0;
};
PaddedSize paddedSize(int n);

// The tool's one-dimensional transform of n = 2^m values held as separate real and imaginary
// arrays (0-based here), in place, kernel e^(−iθ), unscaled. The reference form: fft2d runs the
// same arithmetic in lanes.
void fft1d(float* re, float* im, int n, int m);

// Eight single-precision lanes as one value (the compiler's vector extension; two SSE registers
// where AVX is not there).
typedef float LaneVector __attribute__((vector_size(32)));

// The bit reversal and twiddles of one length, for transforming many sequences.
class Radix2Plan {
 public:
  static constexpr int kLanes = 8;    // sequences transformed together
  static constexpr int kBlock = 256;  // elements of a block kept in cache (16 KiB of lanes)

  explicit Radix2Plan(int n);
  int size() const { return n_; }
  // Transforms kLanes sequences held in lanes: element k of sequence b at [k·kLanes + b]. The
  // arrays are aligned as LaneVector (allocate them as LaneVector).
  void transformLanes(float* re, float* im) const;

 private:
  int n_ = 1;
  std::vector<int> swaps_;      // pairs (i, j) of the bit reversal, i < j
  std::vector<float> ur_, ui_;  // twiddles of stage L at [le1 − 1 + j], j = 0..le1−1
};

struct Fft2dOptions {
  int threads = 0;  // 0: one per core
  // Columns from this index on are left after the row pass and not transformed (an inverse
  // whose caller keeps only the first columns). −1: all columns.
  int columnsNeeded = -1;
  // Called on the calling thread now and then with the batches done and the batches of the
  // whole transform; returning false stops the transform (fft2d then returns false and the
  // array holds a partial result).
  std::function<bool(long long done, long long total)> tick;
};

// The two-dimensional transform of nyp rows of nxp elements (row-major, rows first, then
// columns), direction +1 forward, −1 inverse as stated above. nxp and nyp powers of two.
bool fft2d(CFloat* spectrum, int nxp, int nyp, int direction, const Fft2dOptions& options = {});
inline bool fft2d(std::vector<CFloat>& spectrum, int nxp, int nyp, int direction,
                  const Fft2dOptions& options = {}) {
  return fft2d(spectrum.data(), nxp, nyp, direction, options);
}

}  // namespace sarnoth::gravmag
