// The 48 codes with their names and descriptions, and the one status that each thread keeps, with its
// message.

#include "api/status.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace tv {
namespace {

struct CodeRecord {
  tv_status_t code;
  const char* name;
  const char* description;
};

constexpr CodeRecord kCodes[kNumberOfCodes] = {
    {0, "none",
     "The most recent call to a Tarvo API function was successful (or no function has been called)."},
    {1, "usage",
     "An API function was called with an invalid argument (e.g., a NULL object was passed to a function that "
     "expects a non-NULL argument)."},
    {2, "io",
     "A fatal error occurred during an input or output operation.  This could be a failure to open a "
     "specified file, a failure to create a file due to wrong permissions, a failure during a write "
     "operation due to the disk running full, etc."},
    {3, "no_memory", "Tarvo ran out of memory while carrying out some operation."},
    {4, "cg_limids_not_supported", "LIMIDs with CG nodes are not supported."},
    {5, "twice", "An attempt has been made to assign a name that is already in use to a node or a class."},
    {6, "invalid_name",
     "Names used for classes, nodes, and attributes must have the same form as a C identifier."},
    {7, "cyclic_network", "An attempt was made to create a cycle in the network."},
    {8, "cyclic_functional_dependency",
     "The link could not be created as it would cause a cyclic dependency in the evaluation of function "
     "nodes."},
    {9, "functional_dependency",
     "A functional dependency was detected.  Some Tarvo API operations (including the SPU algorithm for "
     "LIMIDs) do not support such networks."},
    {10, "size_too_large", "The true size is too large to represent within the `size_t' type."},
    {11, "fast_retraction",
     "Logical relations in the distribution has caused a fast-retraction propagation to fail."},
    {12, "rounding", "Possibly significant floating-point rounding error detected."},
    {13, "bad_kb_password", "The supplied password does not match the password stored in the Tarvo KB file."},
    {14, "bad_kb_version",
     "This Tarvo KB file is not supported.  That is, the file was produced by a version of the Tarvo API "
     "that is either very old or newer than 9.8."},
    {15, "bad_kb_type",
     "This Tarvo KB file is of the wrong type for this operation.  A Tarvo KB file contains either a domain "
     "or a class collection."},
    {16, "bad_kb_format",
     "This file is not a valid Tarvo KB file.  Either the file is not a Tarvo KB file, or the file has been "
     "damaged."},
    {17, "not_compiled", "The operation requires a compiled domain."},
    {18, "invalid_probability_potential",
     "An invalid value or an invalid distribution was found in a probability potential or policy: Values "
     "must be nonnegative and finite, and the sum of values in a distribution must be positive and finite."},
    {19, "chain_graph", "Chain graph: Zero probability found in parent potential."},
    {20, "enumeration",
     "The specified elimination sequence is invalid.  Possible causes: It contains a utility or a "
     "real-valued function node, a node appears twice, the nodes are `out-of-order', or the sequence is "
     "incomplete."},
    {21, "no_equilibrium", "The junction tree potentials are invalid."},
    {22, "low_density",
     "The density of the evidence presented is too low to represent as a positive floating-point number."},
    {23, "zero_variance", "Zero variance detected during a conditioning operation."},
    {24, "inconsistency_or_underflow",
     "Propagation of inconsistent evidence has been attempted, or underflow has occurred."},
    {25, "overflow", "Overflow occurred during propagation."},
    {26, "cg_evidence_incorporated",
     "This operation is not supported when the junction tree potentials have CG evidence incorporated."},
    {27, "normalization",
     "Normalization with a zero (or underflowed) normalization constant has been attempted."},
    {28, "compressed", "The operation is not supported on compressed domains."},
    {29, "table_too_large", "The compressed version of some non-clique table is too large."},
    {30, "invalid_evidence",
     "The specified evidence violates the \"free will\" condition, or evidence on a decision node is not an "
     "instantiation."},
    {31, "case_state_too_large", "A case state index larger than 32767 has been specified."},
    {32, "no_value", "No value has been specified."},
    {33, "parse",
     "An error occurred during parsing.  If a parse error handling function was specified, it will have been "
     "called with a description of the error and its location in the source."},
    {34, "invalid_expression", "The supplied expression is invalid (e.g., wrong type)."},
    {35, "syntax", "A syntax error has been detected while parsing an expression."},
    {36, "division_by_zero", "Division by zero has been attempted."},
    {37, "inappropriate_arguments",
     "Invalid arguments have been passed to a standard mathematical or probability/density function."},
    {38, "computation_failed", "A probability/density function or a function value could not be computed."},
    {39, "insufficient_state_range",
     "The state range of the node is insufficient for the chosen standard distribution."},
    {40, "invalid_state_values",
     "The state values of a numeric node do not form an increasing sequence, or infinite values are used "
     "incorrectly."},
    {41, "cyclic_instance_hierarchy", "Cyclic hierarchies of class instances are not allowed."},
    {42, "illegal_binding",
     "An actual input node is incompatible with the formal input node, or there are multiple occurrences of "
     "the same parent."},
    {43, "locale", "The Tarvo API could not establish the C locale!"},
    {44, "invalid_license", "The license data is invalid (or could not be found)."},
    {45, "expired_license", "The time limited license has expired."},
    {46, "demo", "The limits of this software have been exceeded (too many states or too many cases)."},
    {47, "error",
     "This is an \"impossible\" error.  It should never occur.  It might be caused by an error in the Tarvo "
     "API."},
};

constexpr bool codes_are_in_order() {
  for (unsigned i = 0; i < kNumberOfCodes; ++i)
    if (kCodes[i].code != static_cast<tv_status_t>(i)) return false;
  return true;
}
static_assert(codes_are_in_order(), "record i holds code i");

}  // namespace

constinit thread_local Outcome last_outcome [[gnu::tls_model("initial-exec")]] = {tv_status_none, false};

namespace {

// A part of each thread's own memory from its start, so that a message can always be stored. That memory is
// scarce where the library is loaded by a running program, hence no more than this.
constexpr size_t kMessageSize = 240;
constinit thread_local char last_message[kMessageSize] [[gnu::tls_model("initial-exec")]] = "";

// Names may be long and in any script: no character is cut in two.
void end_with_dots(char* message) noexcept {
  size_t end = kMessageSize - sizeof "...";
  while (end > 0 && (static_cast<unsigned char>(message[end]) & 0xC0) == 0x80) --end;
  std::strcpy(message + end, "...");
}

}  // namespace

tv_status_t refuse(tv_status_t code, const char* format, ...) noexcept {
  va_list values;
  va_start(values, format);
  const int length = std::vsnprintf(last_message, kMessageSize, format, values);
  va_end(values);
  if (length >= static_cast<int>(kMessageSize)) end_with_dots(last_message);
  last_outcome = {code, length >= 0};
  return code;
}

}  // namespace tv

tv_status_t tv_error_code(void) { return tv::current_status(); }

const char* tv_error_message(void) {
  const tv::Outcome outcome = tv::last_outcome;
  if (outcome.code == tv_status_none) return "";
  return outcome.explained ? tv::last_message : tv_error_description(static_cast<unsigned>(outcome.code));
}

const char* tv_error_name(unsigned code) {
  return code < tv::kNumberOfCodes ? tv::kCodes[code].name : "no_such_error";
}

const char* tv_error_description(unsigned code) {
  return code < tv::kNumberOfCodes ? tv::kCodes[code].description : "No such error.";
}
