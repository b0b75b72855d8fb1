// Upper-tail probabilities of Fisher's F distribution, for the F tests of trend analysis and
// stepwise discrimination.
//
// What: P(F ≥ f) for F with d1 and d2 degrees of freedom, through the regularised incomplete
// beta function, P = I_x(d2/2, d1/2) with x = d2 / (d2 + d1·f) (Abramowitz & Stegun 26.6.2).
// How: I_x(a, b) by the continued fraction of Abramowitz & Stegun 26.5.8 evaluated with the
// modified Lentz method, on the side x < (a + 1)/(a + b + 2) where it converges fast and by the
// symmetry I_x(a, b) = 1 − I_(1−x)(b, a) otherwise; the prefactor x^a (1 − x)^b / (a B(a, b))
// through lgamma (Press et al., Numerical Recipes, 3rd ed., §6.4).
// Accuracy: about 1e-13 relative while the degrees of freedom stay below a few thousand, and
// about 1e-9 for 1e5 (the prefactor's difference of log-gammas of large arguments loses the
// rest); checked against R's pf. 200 terms of the fraction at most.
// Where it fails: d1 or d2 not above 0, or f NaN, gives NaN; f ≤ 0 gives 1.
#pragma once

namespace sarnoth::geochem {

// I_x(a, b) for a, b > 0 and 0 ≤ x ≤ 1.
double regularizedIncompleteBeta(double a, double b, double x);

// P(F ≥ f) for F(d1, d2).
double fUpperTail(double f, double d1, double d2);

}  // namespace sarnoth::geochem
