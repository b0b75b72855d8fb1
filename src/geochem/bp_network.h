// BP neural network prediction (the tool "BP神经网络预测模型"): a three-layer back-propagation
// network trained on a model table and predicting the output field for a second table.
//
// What is computed, in double precision:
//  - II input nodes (the chosen fields), JJ hidden nodes, KK = 1 output node (the output field);
//    weights V (JJ × II), W (KK × JJ) and thresholds R (JJ), Q (KK), all started at 2r − 1 with r
//    uniform in [0, 1) from a seeded Mersenne twister (std::mt19937, seed given: the same seed
//    gives the same network);
//  - every input and the output are normalised to x' = (x − min) ÷ (max − min) with the minimum
//    and maximum over the learning patterns; the prediction patterns use the same numbers (so a
//    prediction outside the learned range extrapolates);
//  - online training, N rounds over the patterns in table order, no early stop:
//      h_j = f(Σ_i V_ji x_i − R_j),  y_k = f(Σ_j W_kj h_j − Q_k),  f(u) = 1 ÷ (1 + e^−u)
//      d_k = (t_k − y_k) y_k (1 − y_k),  e_j = (Σ_k d_k W_kj) h_j (1 − h_j)
//      W_kj += L1 d_k h_j,  Q_k −= L2 d_k,  V_ji += L1 e_j x_i,  R_j −= L2 e_j
//    (e uses W before its update);
//  - the error curve: after each round, MSE = Σ_p Σ_k (t_pk − y_pk)² ÷ (NN·KK) over the
//    normalised learning patterns with the network as it stands after that round;
//  - predictions y·(max − min) + min.
//
// Choices where the tool leaves things open:
//  - a learning pattern enters when its inputs and output all exceed -1E+31 (the tool's null
//    test); a prediction pattern with a null input gets the null -1E+38;
//  - the results go to the prediction table as a new single field named after the output field
//    with "_B" ("Au_B"), default -1E+38; an existing field of that name is overwritten;
//  - "预测限差" (chkErr, txtLim): a prediction is flagged when the learning pattern nearest to it
//    (Euclidean distance of the normalised inputs) was itself fitted worse than the limit
//    (|t − y| on the normalised 0..1 scale, so 0.2 is a fifth of the output's learned range):
//    the network is not trusted there. A flagged prediction is written as -1E+38 and marked
//    "*超限" in the parameter file;
//  - the parameter file keeps the blocks of the tool and adds the output weights W after V, so
//    that a run can be repeated from it; "Er1(k)" is each output unit's mean squared error over
//    the patterns in the first and the last round;
//  - KK is 1: the tool has one output field.
// A field constant over the learning patterns divides by zero in the normalisation and stops
// the run. Nothing is written unless the whole run succeeds.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "display/chart.h"
#include "workarea/interaction.h"
#include "workarea/progress.h"
#include "workarea/table_store.h"

namespace sarnoth::geochem {

inline constexpr const char* kBpCaption = "BP神经网络预测模型";
inline constexpr const char* kBpParFilter = "Sarnoth参数文件(*.PAR)|*.par|";
inline constexpr const char* kBpParTitle = "存入文件名...";
inline constexpr const char* kBpRunning = "正在进行预测计算，请等待...";
inline constexpr const char* kBpDone = "  预测计算已完成! ";
inline constexpr const char* kMsgBpNoModelTable = "请选择学习模式数据表。";
inline constexpr const char* kMsgBpNoInputs = "请选择输入层数据项。";
inline constexpr const char* kMsgBpNoOutput = "请选择输出数据项。";
inline constexpr const char* kMsgBpOutputIsInput = "输出数据项不能同时作为输入项。";
inline constexpr const char* kMsgBpParameters = "网络参数必须是大于0的数。";
inline constexpr const char* kMsgBpOneOutput = "输出层节点数只能为1(一个输出数据项)。";
inline constexpr const char* kMsgBpNoPatterns = "学习模式数据表中无有效数据,不能进行网络训练。";
inline constexpr const char* kMsgBpNoPrediction = "预测数据表中无记录。";
inline constexpr const char* kMsgBpWeights = "初始权重与阈值的个数与网络结构不符,请重新获取。";
inline constexpr const char* kMsgBpComputeFailed = "数据计算错:";
inline constexpr const char* kBpResultSuffix = "_B";

struct BpWeights {
  int ii = 0, jj = 0, kk = 0;
  std::vector<double> v;  // V(j, i) at j·ii + i
  std::vector<double> w;  // W(k, j) at k·jj + j
  std::vector<double> r;  // R(j)
  std::vector<double> q;  // Q(k)
  bool fits(int i, int j, int k) const { return ii == i && jj == j && kk == k; }
};

// The starting weights and thresholds (btnIni): 2r − 1 from std::mt19937(seed), filled V, W, R,
// Q in that order, row by row.
BpWeights initialWeights(int ii, int jj, int kk, std::uint32_t seed);

// One forward pass: h (jj values) and y (kk values) for the normalised inputs x.
void bpForward(const BpWeights& net, const double* x, double* h, double* y);

// N rounds of online training on normalised patterns (x: patterns × ii, t: patterns × kk).
// After each round `round(t, mse)` is called; returning false stops the training there. Returns
// the rounds done.
int bpTrain(BpWeights& net, const std::vector<double>& x, const std::vector<double>& t, int rounds,
            double l1, double l2, const std::function<bool(int round, double mse)>& round = {});

struct BpJob {
  std::string modelTable;
  std::vector<std::string> inputs;  // lstMItems
  std::string output;               // cboPItem
  std::string predictionTable;      // cboPTbl; empty: train and simulate only
  std::string hiddenText = "15";    // txtJJ
  std::string outputsText = "1";    // txtKK
  std::string roundsText = "1000";  // txtLN
  std::string l1Text = "0.9";       // txtL1
  std::string l2Text = "0.1";       // txtL2
  std::string parFile;              // chkFile with txtPar; empty: no file
  bool flagError = false;           // chkErr
  std::string limitText = "0.2";    // txtLim
};

// The network's sizes as the job's boxes give them; false (with the message) when a box holds
// no valid count.
bool bpSizes(const BpJob& job, int& ii, int& jj, int& kk, std::string& message);

struct BpResult {
  int nn = 0, ny = 0;
  std::vector<double> curve;  // MSE after each round
  BpWeights trained;
  std::vector<double> simulated;  // restored outputs of the learning patterns
  std::vector<double> predicted;  // per prediction record, -1E+38 where none or flagged
  std::int64_t flagged = 0;
  std::string resultField;          // "<output>_B", empty without a prediction table
  std::vector<std::string> report;  // the parameter file's lines
};

// The run of Command1: reads and normalises, trains from `start`, simulates, predicts and writes
// the results back, and writes the parameter file. `round` sees every round (the error curve,
// lblErr, a stop button: false cancels with an empty message and nothing written).
Outcome runBpNetwork(Database& db, const BpJob& job, const BpWeights& start, BpResult& result,
                     const std::function<bool(int round, double mse)>& round, Progress& progress);

// lblErr: the round and "次，均方差=" with the error, at round 1, the last and every 100th.
bool bpShowsRound(int round, int rounds);
std::string bpErrorText(int round, double mse);

// The error curve: MSE against the round, on a logarithmic error axis.
chart::Chart bpErrorChart(const std::vector<double>& curve, int rounds);

}  // namespace sarnoth::geochem
