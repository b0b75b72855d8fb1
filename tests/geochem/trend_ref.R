# Reference values for tests/geochem/test_trend_analysis.cpp (R's lm on the polynomial terms).
i <- 0:39
k1 <- (i * 37) %% 41; k2 <- (i * 53) %% 43
x <- 500000 + 97 * k1; y <- 3350000 + 113 * k2
z <- 5 + 0.3 * k1 - 0.2 * k2 + 0.01 * k1 * k2 + ((i * 7919) %% 13) / 10
xc <- (min(x) + max(x)) / 2; yc <- (min(y) + max(y)) / 2; s <- max(max(x) - min(x), max(y) - min(y)) / 2
u <- (x - xc) / s; v <- (y - yc) / s
m1 <- lm(z ~ u + v)
m2 <- lm(z ~ u + v + I(u^2) + I(u*v) + I(v^2))
m3 <- lm(z ~ u + v + I(u^2) + I(u*v) + I(v^2) + I(u^3) + I(u^2*v) + I(u*v^2) + I(v^3))
options(digits = 17)
cat("coef3:", coef(m3), "\n")
cat("se3:", summary(m3)$coefficients[, 2], "\n")
for (m in list(m1, m2, m3)) { sm <- summary(m); cat("R2:", sm$r.squared, " F:", sm$fstatistic[1], " p:", pf(sm$fstatistic[1], sm$fstatistic[2], sm$fstatistic[3], lower.tail = FALSE), "\n") }
a <- anova(m2, m3); cat("gainF3:", a$F[2], " p:", a$`Pr(>F)`[2], "\n")
a <- anova(m1, m2); cat("gainF2:", a$F[2], " p:", a$`Pr(>F)`[2], "\n")
