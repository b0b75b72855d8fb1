# Reference values for tests/geochem/test_stepwise_discriminant.cpp: stepwise selection by
# Wilks' lambda written out with det(), and Fisher's classification functions, on datasets::iris.
X <- as.matrix(iris[, 1:4]); g <- iris$Species
wilks <- function(X, g, S) { if (length(S) == 0) return(1)
  W <- Reduce(`+`, lapply(split(as.data.frame(X[, S, drop=FALSE]), g), function(d) { d <- as.matrix(d); crossprod(sweep(d, 2, colMeans(d))) }))
  T <- crossprod(sweep(X[, S, drop=FALSE], 2, colMeans(X[, S, drop=FALSE])))
  det(W) / det(T) }
stepwise <- function(X, g, fin = 3.84, fout = 2.71) {
  g <- droplevels(g); n <- nrow(X); K <- nlevels(g); S <- c()
  repeat {
    q <- length(S); l <- wilks(X, g, S)
    if (q > 0) { fr <- sapply(S, function(j) { lj <- l / wilks(X, g, setdiff(S, j)); (n-K-q+1)/(K-1)*(1-lj)/lj })
      if (min(fr) < fout) { S <- setdiff(S, S[which.min(fr)]); cat("remove", S, "\n"); next } }
    cand <- setdiff(1:ncol(X), S); if (length(cand) == 0) break
    fe <- sapply(cand, function(j) { lj <- wilks(X, g, c(S, j)) / l; (n-K-q)/(K-1)*(1-lj)/lj })
    if (max(fe) <= fin) break
    j <- cand[which.max(fe)]; S <- c(S, j)
    cat(sprintf("enter %d F=%.15g lambda=%.15g\n", j - 1, max(fe), wilks(X, g, S)))
  }
  S }
S <- stepwise(X, g)
m <- sapply(split(as.data.frame(X), g), colMeans)
W <- Reduce(`+`, lapply(split(as.data.frame(X), g), function(d) { d <- as.matrix(d); crossprod(sweep(d, 2, colMeans(d))) }))
V <- W / (150 - 3)
A <- solve(V, m); c0 <- -0.5 * colSums(m * A) + log(1/3)
options(digits = 15); print(rbind(c0, A))
cat("level 2:\n"); sub <- g != "setosa"; S2 <- stepwise(X[sub, ], g[sub])
library(MASS); f <- lda(X[sub, S2, drop=FALSE], droplevels(g[sub]), prior = c(.5, .5))
print(table(droplevels(g[sub]), predict(f)$class))
