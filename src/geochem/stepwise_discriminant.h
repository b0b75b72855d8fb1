// Multi-level stepwise discriminant prediction (the tool "多级逐步判别预测"): samples of known
// group (a group field of a model table) teach linear discriminant functions over variables
// chosen step by step, in one level or in several, and the samples of a prediction table are
// assigned to groups in a new field.
//
// What is computed at one level, for G groups of a node, N samples and the candidate variables:
//   W and T, the within-group and total sums of squares and products (double precision, about
//   the means); Wilks' lambda of a variable set S, Λ(S) = det W_S / det T_S.
//   Stepwise selection by Wilks' lambda (Jennrich 1977, Stepwise discriminant analysis, in
//   Statistical Methods for Digital Computers, Wiley, 76–95; Rencher & Christensen, Methods of
//   Multivariate Analysis, 3rd ed., 2012, §6.11). With q = |S|:
//     to enter j:   Λ_j = Λ(S+j)/Λ(S),   F = (N − G − q)/(G − 1) · (1 − Λ_j)/Λ_j
//     to remove j:  Λ_j = Λ(S)/Λ(S−j),   F = (N − G − q + 1)/(G − 1) · (1 − Λ_j)/Λ_j
//   each an exact F(G − 1, N − G − q) or F(G − 1, N − G − q + 1) under normality. Each step
//   first removes the variable in S with the smallest F to remove when it is below F-out, else
//   enters the candidate with the largest F to enter when it exceeds F-in, else stops (forward
//   from the empty set; backward from all variables; at most 4p + 8 steps). A candidate whose
//   within-group variance given S is below 1e-8 of its own (a constant or a combination of S) is
//   never entered. F-in ≥ F-out keeps the procedure from cycling (defaults 3.84 and 2.71).
//   Classification functions over S (Fisher's linear rule with a pooled covariance
//   V = W_S/(N − G)): f_g(x) = m_g' V⁻¹ x − ½ m_g' V⁻¹ m_g + ln π_g, π_g equal or proportional to
//   the group sizes; a sample goes to the group of the largest f.
// Several levels ("multi-level"): the groups are split step by step in a tree. Each inner node
// discriminates between its children (a child is one group or a set of groups taken as one), with
// its own stepwise selection; a sample descends from the root to a single group. The tree is
// given ("(1,2),(3)": nested parentheses of group names, commas between children) or built:
// a node of more than two groups is split in two, seeded by the two groups farthest apart in
// Mahalanobis distance (pooled covariance of the node, all variables) and every other group going
// to the nearer seed. One level is the plain multi-group analysis.
// Error rates: resubstitution (the samples classified by the functions they taught) and
// leave-one-out (each sample classified by the functions recomputed without it, exactly, by the
// downdated means and pooled covariance; the variables chosen stay those of the full run, as in
// SAS's DISCRIM CROSSVALIDATE after STEPDISC, so the rate is slightly optimistic).
// Samples: the model table's records whose group is there (text not empty; a number above
// -1E+30) and whose every chosen variable exceeds -1E+30. A prediction record with a missing
// variable gets no group (-1E+38 or an empty text).
// Check: on Fisher's iris data (three species, four measurements; R's datasets::iris) all four
// variables enter and 3 of 150 samples are misclassified on resubstitution, as published.
// Where it fails: fewer samples than groups + variables + 1, a group of one sample, or no
// variable entering at a node (then that node assigns by the priors alone and says so).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "workarea/interaction.h"
#include "workarea/progress.h"
#include "workarea/table_store.h"

namespace sarnoth::geochem {

inline constexpr const char* kDiscrimCaption = "多级逐步判别预测";
inline constexpr const char* kDiscrimSuffix = "_P";  // the prediction: group field + "_P"
inline constexpr const char* kMsgDiscrimNoModelTable = "请选择学习模式数据表。";
inline constexpr const char* kMsgDiscrimNoGroup = "请选择分类(组别)数据项。";
inline constexpr const char* kMsgDiscrimNoVariables = "请选择判别变量数据项。";
inline constexpr const char* kMsgDiscrimGroupIsVariable = "分类数据项不能同时作为判别变量。";
inline constexpr const char* kMsgDiscrimFValues = "F值必须是正数, 且选入F值不小于剔除F值。";
inline constexpr const char* kMsgDiscrimTooFewGroups = "已知类别少于2个, 不能进行判别分析。";
inline constexpr const char* kMsgDiscrimTooFewSamples = "样品数太少,不能进行分析!!!";
inline constexpr const char* kMsgDiscrimBadTree = "分级方案有误: 每个类别须出现且只出现一次。";
inline constexpr const char* kMsgDiscrimFailed = "判别分析计算错: ";

struct DiscriminantData {
  int p = 0;                            // variables
  std::vector<double> x;                // n × p, row-major
  std::vector<int> group;               // 0 … groupNames.size() − 1
  std::vector<std::string> groupNames;  // in order of first appearance
  std::int64_t n() const { return static_cast<std::int64_t>(group.size()); }
};

struct StepwiseLdaOptions {
  double fEnter = 3.84, fRemove = 2.71;
  bool backward = false;            // start from all variables
  bool proportionalPriors = false;  // else equal priors
};

struct LdaStep {
  int variable = -1;
  bool entered = true;
  double f = 0, p = 1;  // the F of the step and its probability
  double lambda = 1;    // Wilks' lambda after the step
  int inModel = 0;      // variables after the step
};

// The functions of one node, distinguishing its children.
struct LdaModel {
  std::vector<int> selected;  // variables, in entering order
  std::vector<LdaStep> steps;
  double lambda = 1;
  std::vector<std::vector<double>> functions;  // per child: constant, then one per selected
  std::vector<double> priors;
  // What the leave-one-out downdate needs.
  std::vector<std::vector<double>> means;  // per child, per selected
  std::vector<double> within;              // W_S, q × q
  std::vector<std::int64_t> counts;        // per child
  std::int64_t n = 0;
};

struct LevelNode {
  std::vector<std::vector<int>> children;  // the groups of each child
  LdaModel model;
  std::vector<int> sub;  // per child: index of its node in the tree, or −1 for a single group
};

struct DiscriminantTree {
  std::vector<LevelNode> nodes;  // nodes[0] the root
};

enum class LevelScheme { Single = 0, Automatic = 1, Given = 2 };

// Stepwise LDA between the children of a node over the samples of their groups.
LdaModel fitStepwiseLda(const DiscriminantData& d, const std::vector<std::vector<int>>& children,
                        const StepwiseLdaOptions& o);
// The tree for a scheme; `given` is the text of the given tree. Empty tree and a failure text
// when the text names groups wrongly.
DiscriminantTree buildDiscriminantTree(const DiscriminantData& d, LevelScheme scheme,
                                       const std::string& given, const StepwiseLdaOptions& o,
                                       std::string& failure);
// The group of one sample (p values), or −1.
int classifySample(const DiscriminantTree& t, const double* x);

struct ErrorRates {
  std::vector<int> resubstitution, leaveOneOut;  // the group given to each sample
  std::int64_t resubErrors = 0, looErrors = 0;
  std::vector<std::vector<std::int64_t>> confusion;  // resubstitution: [true][given]
};
ErrorRates discriminantErrors(const DiscriminantData& d, const DiscriminantTree& t);

// ---- the tool's run ----------------------------------------------------------------------------

struct DiscriminantJob {
  std::string modelTable, groupField;
  std::vector<std::string> variables;
  std::string predictionTable;  // empty: no prediction
  StepwiseLdaOptions options;
  LevelScheme scheme = LevelScheme::Single;
  std::string tree;  // the given tree
};

std::string checkDiscriminantJob(const DiscriminantJob& job);
// The training samples of the model table.
DiscriminantData readDiscriminantData(Database& db, const DiscriminantJob& job);

struct DiscriminantResult {
  DiscriminantData data;
  DiscriminantTree tree;
  ErrorRates errors;
  std::vector<std::string> report;
  std::string resultField;
  std::int64_t predicted = 0;  // prediction records given a group
};

// Reads, selects, fits, reports and (when a prediction table is named) writes the groups into
// its new field group + "_P" (text when the group field is text, else a single; an existing field
// of that name is overwritten).
Outcome runDiscriminant(Database& db, const DiscriminantJob& job, DiscriminantResult& result,
                        Progress& progress = noProgress());

}  // namespace sarnoth::geochem
