// Why a node has its probabilities, as the command `explain` finds and shows it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "evidence.h"
#include "triangulation.h"

namespace program {

struct ExplainOptions {
  Source source;
  EvidenceOptions evidence;
  TriangulationOptions triangulation;
  std::string target;               // NODE or NODE=STATE
  size_t trails = 3;                // of each finding
  size_t orders = 1000;             // for Shapley values of many findings
  size_t groups = 0;                // the most findings in a group to be shown; 0 for none
  std::vector<std::string> causes;  // nodes to account for the evidence with
  Format format = Format::kText;
};
ExitCode explain(const ExplainOptions& options);

struct DeleteResult {
  void operator()(tv_explanation_t* what) const { tv_explanation_delete(what); }
  void operator()(tv_findings_t* what) const { tv_findings_delete(what); }
  void operator()(tv_conflict_t* what) const { tv_conflict_delete(what); }
  void operator()(tv_relevant_explanations_t* what) const { tv_relevant_explanations_delete(what); }
};

// The results as the library gives them.
struct Explanation {
  tv_node_t* target = nullptr;
  size_t state = 0;
  std::vector<Entered> evidence;
  std::unique_ptr<tv_explanation_t, DeleteResult> belief;
  std::unique_ptr<tv_findings_t, DeleteResult> findings;
  std::unique_ptr<tv_conflict_t, DeleteResult> conflict;              // null with less than two findings
  std::unique_ptr<tv_relevant_explanations_t, DeleteResult> account;  // null unless it was asked for

  // A finding of the analysis of findings that is about the same node as one of the explanation.
  size_t place_of(const tv_node_t* node) const;
  const Entered* entered_on(const tv_node_t* node) const;
};

const char* role_name(tv_finding_role_t role);

void print_as_text(const Network& network, const Explanation& explanation);
void print_as_json(const Network& network, const Explanation& explanation);
void print_as_csv(const Explanation& explanation);

}  // namespace program
