/**
 * @file tarvo.h
 * The whole public interface of the Tarvo library: build, load, compile and evaluate probabilistic
 * graphical models. C99, usable from C and C++.
 *
 * In one paragraph
 * ----------------
 * A *domain* is a network. Its *nodes* are the variables, its *links* say which variables depend on which,
 * and each node's *table* holds its distribution given its parents. *Compiling* turns the network into a
 * *junction forest*: trees of *cliques*, groups of nodes small enough to hold a joint table. You enter
 * *evidence* on nodes, *propagate* it through the trees, and read *beliefs*, the probability of the
 * evidence, its conflict and more. (Lauritzen & Spiegelhalter 1988; Jensen, Lauritzen & Olesen 1990.)
 *
 * Conventions, said once
 * ----------------------
 * 1. Lifecycle. Create a domain (tv_new_domain) or load one (tv_net_parse_domain); compile it; then enter
 *    evidence, propagate and read, as often as you like; delete it. Any change of structure (nodes, links,
 *    states, categories) *uncompiles* the domain: cliques, trees and beliefs are gone until the next
 *    compilation. Changing numbers in tables does not uncompile: say tv_node_touch_table and propagate.
 * 2. Status. Each thread has a status, the outcome of its most recent call into the library, read with
 *    tv_error_code. A success leaves tv_status_none there, also when an earlier call failed. Only the
 *    tv_error_ functions and tv_get_version leave it alone. tv_error_message says in a sentence what
 *    went wrong.
 * 3. Failure values. A function that returns a tv_status_t returns the code itself, so `if (call(...))`
 *    reads "if it failed". Others return: NULL for handles, lists and strings; all ones, `(size_t)-1`, for
 *    size_t; -1 for ptrdiff_t, tv_operator_t and for int answers (1 yes, 0 no, -1 failure); -1.0 for double
 *    and tv_number_t; the `_error` member of an enumeration. Where the failure value can also be an answer
 *    (NULL at the end of an iteration, a state value of -1), tv_error_code tells the two apart.
 * 4. Null pointers. A null handle, string or result pointer gives tv_status_usage, unless the function
 *    says that it takes null. This and the next two points hold everywhere and are not repeated below.
 * 5. Memory. Any function that allocates may fail with tv_status_no_memory, also when a limit that was set
 *    (tv_domain_set_memory_limit) forbids it. A size that does not fit into a size_t counts as too much
 *    memory when something is allocated (tv_status_no_memory) and as tv_status_size_too_large when it is
 *    merely asked for.
 * 6. Failure changes nothing. A call that fails leaves its objects as they were. The exceptions are said
 *    at their functions: a failed propagation resets its trees and keeps what you entered, and a
 *    compilation that fails with a log set has written to that log.
 * 7. Ownership. The domain owns its nodes, tables, cliques and trees; strings and lists belong to the
 *    object that returned them and stay valid until that object changes in what they show, or is deleted.
 *    Never free them. The few results that are yours say so: "free()" for the C library, or a `_delete`
 *    function. Strings, orders and values that you pass in are copied. Handles of cliques and junction
 *    trees end when the domain is uncompiled.
 * 8. Lists are arrays of handles that end with a null pointer, going in and coming out. An empty list is
 *    an array whose first entry is null.
 * 9. Order of table entries. The discrete nodes of a table stand first, and configurations are numbered
 *    with the *last* discrete node varying fastest: over A (2 states) and B (3 states) the entries are
 *    a0b0 a0b1 a0b2 a1b0 a1b1 a1b2. A chance or decision node is the last discrete node of its own table,
 *    so every run of as many numbers as it has states is one distribution, given one configuration of the
 *    parents.
 * 10. Numbers. Tables hold single precision (tv_number_t); sums and logarithms are formed in double
 *     precision, and products with more range where single precision does not suffice: beliefs are right to
 *     one part in a million (below 1e-23, to 1e-29), and only impossible evidence is refused. Natural
 *     logarithms everywhere. The results are the same bits for every number of threads and on every
 *     processor of a kind. What a domain has propagated before may change the last digits, within these
 *     bounds; in queries each case has the same bits whatever came before (tv_query_retract_findings).
 * 11. Threads. Different domains may be used by different threads at the same time; one domain must never
 *     be used by two threads at once, not even for reading; a table that it has given you belongs to it in
 *     this. The exception are queries (tv_domain_new_query): different ones of one domain may be used by
 *     different threads at the same time, also while one thread enters evidence in the domain, propagates it
 *     and reads its results, as long as nobody changes the domain otherwise or asks for tables of its nodes,
 *     which may be made then. Nothing is shared between domains, the locale included: parsing and writing
 *     select the "C" locale for the calling thread (uselocale) and put back what it used before they return.
 *     Your handlers run under it; other threads and the locale of the process (setlocale) do not notice.
 *     Numbers always use a decimal point.
 * 12. User data. Pointers stored with `_set_user_data` and `_set_back_pointer` are yours: the library never
 *     looks at them and never frees them. They start as null.
 * 13. Compressed domains. What is said of the tables of cliques holds for compressed domains, too
 *     (tv_domain_compress): full ones are made when you ask for their numbers, if memory suffices.
 * 14. The comments. Each can be read alone, by people and by tools: what the function does; `@param` for each
 *     parameter (`[out]` where a result is written, "may be null" where null is allowed); `@return`, with the
 *     failure value and with who owns what a pointer points to, or how to free it if it is yours; and under
 *     "Failures" a row for each code, or for several, that tells when it comes. What points 4 and 5 say of
 *     null and of memory has no row, unless there is more to it.
 *
 * A complete program
 * ------------------
 * @code
 * #include <stdio.h>
 * #include <tarvo.h>
 *
 * int main(void) {
 *   const char* net =
 *       "net { }\n"
 *       "node Rain { states = (\"no\" \"yes\"); }\n"
 *       "node Wet  { states = (\"no\" \"yes\"); }\n"
 *       "potential (Rain) { data = (0.8 0.2); }\n"
 *       "potential (Wet | Rain) { data = ((0.9 0.1) (0.2 0.8)); }\n";
 *   tv_domain_t* domain = tv_net_parse_domain(net, NULL, NULL);
 *   tv_node_t* rain = domain ? tv_domain_get_node_by_name(domain, "Rain") : NULL;
 *   tv_node_t* wet = domain ? tv_domain_get_node_by_name(domain, "Wet") : NULL;
 *   if (!rain || !wet || tv_domain_compile(domain) || tv_node_select_state(wet, 1) ||
 *       tv_domain_propagate(domain, tv_equilibrium_sum, tv_evidence_normal)) {
 *     fprintf(stderr, "%s\n", tv_error_message());
 *     tv_domain_delete(domain);
 *     return 1;
 *   }
 *   printf("P(rain | wet) = %g\n", tv_node_get_belief(rain, 1));                // 0.666667
 *   printf("P(wet)        = %g\n", tv_domain_get_normalization_constant(domain)); // 0.24
 *   tv_domain_delete(domain);
 *   return 0;
 * }
 * @endcode
 *
 * Contents, in this order: types and constants; status and version; domains; nodes; names; states;
 * attributes; user data; links; graph queries; display; tables of nodes; tables; expressions; models;
 * threads, log and progress; compilation; cliques and junction trees; evidence; evidence queries;
 * propagation; probability and conflict of the evidence; beliefs and other results; compression and
 * approximation; policies of decisions; queries; reading networks; writing networks; cases; learning from
 * parts of the cases; data sets; prediction; structures from data; separation of nodes; simulation; most
 * probable configurations; sensitivity to parameters; what to observe next; sensitivity to evidence;
 * explanation; random numbers.
 */
#ifndef TARVO_H
#define TARVO_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

/** Marks a function as part of the interface of the shared library. */
#if defined(__GNUC__)
#define TV_API __attribute__((visibility("default")))
#else
#define TV_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup types Types and constants
 * @{
 */

/** The number of discrete tables and of findings: single precision. */
typedef float tv_number_t;

/** A network: its nodes, their tables, its settings, and what compilation made of it. Owns all of that. */
typedef struct tv_domain_s tv_domain_t;

/** A variable (or a function of variables, or a utility). Owned by its domain. */
typedef struct tv_node_s tv_node_t;

/** One entry, a key with its value, of the list of attributes of a domain or a node. */
typedef struct tv_attribute_s tv_attribute_t;

/** A potential: one number for each configuration of a list of nodes (convention 9). */
typedef struct tv_table_s tv_table_t;

/** A clique of the triangulated graph. Lives until its domain is uncompiled. */
typedef struct tv_clique_s tv_clique_t;

/** One tree of cliques, for one connected part of the network. Lives until its domain is uncompiled. */
typedef struct tv_junction_tree_s tv_junction_tree_t;

/** A formula over nodes, numbers, labels and truth values; part of models. Held by what uses it, or yours. */
typedef struct tv_expression_s tv_expression_t;

/** The expressions from which a node's table is computed. Owned by its node. */
typedef struct tv_model_s tv_model_t;

/** A table of texts in named columns. Yours: tv_data_set_delete frees it. */
typedef struct tv_data_set_s tv_data_set_t;

/** What a column of a data set holds, in numbers. Yours: tv_column_summary_delete frees it. */
typedef struct tv_column_summary_s tv_column_summary_t;

/** What is predicted for the rows of a table. Yours: tv_predictions_delete frees it. */
typedef struct tv_predictions_s tv_predictions_t;

/** How good predictions of one node are. Yours: tv_measures_delete frees it. */
typedef struct tv_measures_s tv_measures_t;

/** Another evidence over a compiled domain, with results of its own. Yours: tv_query_delete frees it. */
typedef struct tv_query_s tv_query_t;

/** What cases lead to expect, for learning from parts of them. Yours: tv_em_statistics_delete frees it. */
typedef struct tv_em_statistics_s tv_em_statistics_t;

/** How structures are learned, and what experts know. Yours: tv_structure_learner_delete frees it. */
typedef struct tv_structure_learner_s tv_structure_learner_t;

/** A graph over named nodes, with directed and undirected links. Yours: tv_structure_delete frees it. */
typedef struct tv_structure_s tv_structure_t;

/** How often links were found in samples of the cases. Yours: tv_bootstrap_delete frees it. */
typedef struct tv_bootstrap_s tv_bootstrap_t;

/** Configurations of nodes, the most probable one first. Yours: tv_configurations_delete frees it. */
typedef struct tv_configurations_s tv_configurations_t;

/** How an answer depends on parameters. Yours: tv_sensitivity_delete frees it. */
typedef struct tv_sensitivity_s tv_sensitivity_t;

/** What observing nodes would tell about another one. Yours: tv_observations_delete frees it. */
typedef struct tv_observations_s tv_observations_t;

/** What observing nodes is worth to a decision. Yours: tv_observation_values_delete frees it. */
typedef struct tv_observation_values_s tv_observation_values_t;

/** What findings do to the probability of a hypothesis. Yours: tv_findings_delete frees it. */
typedef struct tv_findings_s tv_findings_t;

/** The conflict of findings, and where it comes from. Yours: tv_conflict_delete frees it. */
typedef struct tv_conflict_s tv_conflict_t;

/** Why a node has its probabilities. Yours: tv_explanation_delete frees it. */
typedef struct tv_explanation_s tv_explanation_t;

/** States that account for the evidence. Yours: tv_relevant_explanations_delete frees it. */
typedef struct tv_relevant_explanations_s tv_relevant_explanations_t;

/**
 * The outcome of a call: 0 for success, otherwise one of the codes below. The numbers are fixed.
 * tv_error_name and tv_error_description give texts for people.
 */
typedef int tv_status_t;

/** The status codes. Those marked "reserved" belong to features that this version does not offer. */
enum {
  /** The most recent call succeeded, or there was none. */
  tv_status_none = 0,
  /** An argument is invalid, or does not fit the present state. */
  tv_status_usage = 1,
  /** A file could not be opened, read, written or closed. */
  tv_status_io = 2,
  /** Out of memory, or a size beyond all memory. */
  tv_status_no_memory = 3,
  /** Continuous nodes do not mix with decisions or utilities. */
  tv_status_cg_limids_not_supported = 4,
  /** The name is in use by another node of the domain, or another column of the data set. */
  tv_status_twice = 5,
  /** The name does not have the form of a C identifier. */
  tv_status_invalid_name = 6,
  /** The link would close a directed cycle. */
  tv_status_cyclic_network = 7,
  /** The link would make function nodes depend on themselves. */
  tv_status_cyclic_functional_dependency = 8,
  /** The operation does not support this functional dependency. */
  tv_status_functional_dependency = 9,
  /** The size asked for does not fit into a size_t. */
  tv_status_size_too_large = 10,
  /** Zeros in the distributions defeat fast retraction. */
  tv_status_fast_retraction = 11,
  /** Possibly significant rounding error. Reserved. */
  tv_status_rounding = 12,
  /** The password does not match that of a binary network file. Reserved. */
  tv_status_bad_kb_password = 13,
  /** The version of a binary network file is not supported. Reserved. */
  tv_status_bad_kb_version = 14,
  /** A binary network file holds something else than was asked for. Reserved. */
  tv_status_bad_kb_type = 15,
  /** The file is not a valid binary network file. Reserved. */
  tv_status_bad_kb_format = 16,
  /** The operation requires a compiled domain. */
  tv_status_not_compiled = 17,
  /** A table has an invalid number or a zero distribution. */
  tv_status_invalid_probability_potential = 18,
  /** What undirected links give sums to zero in a configuration of the parents (Lauritzen & Wermuth 1989). */
  tv_status_chain_graph = 19,
  /** The elimination order is invalid. */
  tv_status_enumeration = 20,
  /** The trees hold no valid result: propagate first. */
  tv_status_no_equilibrium = 21,
  /** The density of continuous evidence is too low. */
  tv_status_low_density = 22,
  /** Conditioning on a variance of zero. */
  tv_status_zero_variance = 23,
  /** The evidence is impossible. */
  tv_status_inconsistency_or_underflow = 24,
  /** A number became too large during propagation. */
  tv_status_overflow = 25,
  /** Not defined while continuous evidence is propagated. */
  tv_status_cg_evidence_incorporated = 26,
  /** A table whose sum is zero (or underflowed) was normalised. */
  tv_status_normalization = 27,
  /** Not supported on compressed domains. */
  tv_status_compressed = 28,
  /** A table is too large for a compressed domain. */
  tv_status_table_too_large = 29,
  /** Evidence that breaks the rules of decisions, or a required selected state is missing. */
  tv_status_invalid_evidence = 30,
  /** The index of a state in a case is above 32767. */
  tv_status_case_state_too_large = 31,
  /** No value has been entered or propagated. */
  tv_status_no_value = 32,
  /** The text is not a valid network; the handler got the details. */
  tv_status_parse = 33,
  /** The expression is invalid, for instance of a wrong type. */
  tv_status_invalid_expression = 34,
  /** A syntax error in an expression. */
  tv_status_syntax = 35,
  /** An expression divides by zero. */
  tv_status_division_by_zero = 36,
  /** A function or distribution in an expression has invalid arguments. */
  tv_status_inappropriate_arguments = 37,
  /** A function or a density in an expression could not be computed. */
  tv_status_computation_failed = 38,
  /** The states of the node do not cover the distribution of its model. */
  tv_status_insufficient_state_range = 39,
  /** The state values do not increase, or are infinite where they must not be. */
  tv_status_invalid_state_values = 40,
  /** A class would contain itself. Reserved. */
  tv_status_cyclic_instance_hierarchy = 41,
  /** A node does not fit the input of a class instance that it is bound to. Reserved. */
  tv_status_illegal_binding = 42,
  /** The "C" locale could not be selected. */
  tv_status_locale = 43,
  /** Not used. */
  tv_status_invalid_license = 44,
  /** Not used. */
  tv_status_expired_license = 45,
  /** Not used. */
  tv_status_demo = 46,
  /** Not available in this version, stopped by the progress handler, or an internal error. */
  tv_status_error = 47
};

/**
 * @def TV_INT_ENUM
 * How an enumeration begins. C lets a call pass any integer for one; so that C++ lets the library look at it,
 * each says there that it is an int.
 */
#ifdef __cplusplus
#define TV_INT_ENUM enum : int
#else
#define TV_INT_ENUM enum
#endif

/** What a node stands for. */
typedef TV_INT_ENUM {
  /** The answer of a failed query. */
  tv_category_error = -1,
  /** A deterministic function of its parents. */
  tv_category_function = 5,
  /** An instance of a class; cannot be created in this version. */
  tv_category_instance,
  /** A random variable. */
  tv_category_chance,
  /** A choice of a decision maker. */
  tv_category_decision,
  /** A term of the utility that decisions maximise. */
  tv_category_utility
} tv_node_category_t;

/** What values a node takes. */
typedef TV_INT_ENUM {
  /** The answer of a failed query. */
  tv_kind_error = -2,
  /** -1: no states and no distribution (utility and real-valued function nodes). */
  tv_kind_other,
  /** 0: one of a finite number of states. */
  tv_kind_discrete,
  /** 1: a real number (conditional Gaussian). */
  tv_kind_continuous
} tv_node_kind_t;

/** What the states of a discrete node mean. */
typedef TV_INT_ENUM {
  /** Names without order; the default. */
  tv_subtype_label = 30,
  /** Two states: state 0 is false, state 1 is true. */
  tv_subtype_boolean,
  /** One number for each state. */
  tv_subtype_number,
  /** Neighbouring intervals: n states have n + 1 bounds. */
  tv_subtype_interval,
  /** The answer of a failed query. */
  tv_subtype_error
} tv_node_subtype_t;

/**
 * How to choose the next node to eliminate, which decides the cliques and so the cost of inference
 * (Kjaerulff 1990, 1992). A node that needs no fill-in links always goes first. Weights are products of
 * numbers of states: the size of the table over a clique.
 */
typedef TV_INT_ENUM {
  /** The fewest members in the clique that arises. */
  tv_method_clique_size = 15,
  /** The smallest weight of the clique that arises. */
  tv_method_clique_weight,
  /** The fewest fill-in links. */
  tv_method_fill_in_size,
  /** The smallest sum over fill-in links of the product of the ends' weights. */
  tv_method_fill_in_weight,
  /** Least total clique weight, proven where no limit is met; its time can grow exponentially. */
  tv_method_total_weight,
  /** The cheapest result of the four greedy methods; what compilation uses. */
  tv_method_best_greedy
} tv_triangulation_method_t;

/** What the tables of the junction trees hold after a propagation. */
typedef TV_INT_ENUM {
  /** Nothing valid: after a reset or a failed propagation. Cannot be asked for. */
  tv_equilibrium_none = 10,
  /** Sums over the other variables: beliefs are probabilities. */
  tv_equilibrium_sum,
  /**
   * Maxima over the other variables (Dawid 1992): each belief is the probability of the best joint
   * configuration with that state, the overall best being 1.
   */
  tv_equilibrium_max
} tv_equilibrium_t;

/** How a propagation treats evidence. */
typedef TV_INT_ENUM {
  /** All evidence counts for every belief. */
  tv_evidence_normal = 20,
  /** Each node's belief leaves out the evidence on that node itself (Cowell & Dawid 1992; Dawid 1992). */
  tv_evidence_fast_retraction
} tv_evidence_mode_t;

/** What stands at the top of an expression, from 60 to 117; -1 on failure. */
typedef int tv_operator_t;

/**
 * The operators of expressions and, last, the four kinds of leaves (docs/expressions-and-models.md explains
 * them).
 */
enum {
  /** `Normal (mean, variance)`. */
  tv_operator_normal = 60,
  /** `LogNormal (mean, variance [, shift])`, the first two of the logarithm. */
  tv_operator_log_normal,
  /** `Beta (a, b [, from, to])`. */
  tv_operator_beta,
  /** `Gamma (shape, scale [, shift])`. */
  tv_operator_gamma,
  /** `Exponential (rate [, shift])`. */
  tv_operator_exponential,
  /** `Weibull (shape, scale [, shift])`. */
  tv_operator_weibull,
  /** `Uniform (from, to)`. */
  tv_operator_uniform,
  /** `Triangular (from, mode, to)`. */
  tv_operator_triangular,
  /** `PERT (from, mode, to [, shape])`. */
  tv_operator_pert,
  /** `Binomial (n, p)`: successes in n trials. */
  tv_operator_binomial,
  /** `Poisson (mean)`. */
  tv_operator_poisson,
  /** `NegativeBinomial (r, p)`: failures before the r-th success. */
  tv_operator_negative_binomial,
  /** `Geometric (p)`: failures before the first success. */
  tv_operator_geometric,
  /** `Distribution (weight, ...)`, one weight per state. */
  tv_operator_distribution,
  /** `NoisyOR (cause, inhibition, ...)`, pairs. */
  tv_operator_noisy_or,
  /** `truncate ([low,] distribution [, high])`. */
  tv_operator_truncate,
  /** `aggregate (number, node)`: the sum of so many copies. */
  tv_operator_aggregate,
  /** `probability (condition)`, a condition on one node, given the evidence. */
  tv_operator_probability,
  /** `variance (node)`, given the evidence. */
  tv_operator_variance,
  /** `quantile (node, p)`: the value below which the node lies with probability p, given the evidence. */
  tv_operator_quantile,
  /** `min (a, ...)`: the smallest of one or more numbers. */
  tv_operator_min,
  /** `max (a, ...)`: the largest of one or more numbers. */
  tv_operator_max,
  /** `log (a)`: the natural logarithm. */
  tv_operator_log,
  /** `log2 (a)`: the logarithm to base 2. */
  tv_operator_log2,
  /** `log10 (a)`: the logarithm to base 10. */
  tv_operator_log10,
  /** `exp (a)`: e to the power a. */
  tv_operator_exp,
  /** `sin (a)`, of radians. */
  tv_operator_sin,
  /** `cos (a)`, of radians. */
  tv_operator_cos,
  /** `tan (a)`, of radians. */
  tv_operator_tan,
  /** `sinh (a)`: the hyperbolic sine. */
  tv_operator_sinh,
  /** `cosh (a)`: the hyperbolic cosine. */
  tv_operator_cosh,
  /** `tanh (a)`: the hyperbolic tangent. */
  tv_operator_tanh,
  /** `sqrt (a)`: the square root. */
  tv_operator_sqrt,
  /** `abs (a)`: a without its sign. */
  tv_operator_abs,
  /** `floor (a)`: the largest whole number that is not above a. */
  tv_operator_floor,
  /** `ceil (a)`: the smallest whole number that is not below a. */
  tv_operator_ceil,
  /** `mod (a, b)`: the remainder, with the sign of a. */
  tv_operator_mod,
  /** `if (condition, then, else)`: the second operand where the first is true, else the third. */
  tv_operator_if,
  /** `and (a, ...)`: true when all of any number of truth values are. */
  tv_operator_and,
  /** `or (a, ...)`: true when one of any number of truth values is. */
  tv_operator_or,
  /** `not (a)`: true when a is false. */
  tv_operator_not,
  /** `a + b`. */
  tv_operator_add,
  /** `a - b`. */
  tv_operator_subtract,
  /** `a * b`. */
  tv_operator_multiply,
  /** `a / b`. */
  tv_operator_divide,
  /** `a ^ b`: a to the power b. */
  tv_operator_power,
  /** `-a`. */
  tv_operator_negate,
  /** `#node`: the index of a discrete node's state. */
  tv_operator_state_index,
  /** `a == b`, also written `a = b`. */
  tv_operator_equals,
  /** `a < b`. */
  tv_operator_less_than,
  /** `a > b`. */
  tv_operator_greater_than,
  /** `a != b`, also written `a <> b`. */
  tv_operator_not_equals,
  /** `a <= b`. */
  tv_operator_less_than_or_equals,
  /** `a >= b`. */
  tv_operator_greater_than_or_equals,
  /** A number. */
  tv_operator_number,
  /** A label, in quotes. */
  tv_operator_label,
  /** A node. */
  tv_operator_node,
  /** `true` or `false`. */
  tv_operator_boolean
};

/**
 * Receives the errors and warnings of a parser.
 *
 * @param position      the line when a file is read; the number of characters read so far when a string is
 *                      (tv_error_line and tv_error_column tell line and column of both)
 * @param message       the text, valid during the call; warnings begin with "warning: "
 * @param handler_data  the pointer that was given with the handler
 */
typedef void (*tv_error_handler_t)(size_t position, const char* message, void* handler_data);

/**
 * Receives the errors and warnings of tv_net_parse and tv_net_parse_from_string.
 *
 * @param position  the line when a stream is read; the number of characters read so far when a string is
 *                  (tv_error_line and tv_error_column tell line and column of both)
 * @param message   the text, valid during the call; warnings begin with "warning: "
 */
typedef void (*tv_old_error_handler_t)(size_t position, const char* message);

/**
 * Is told about the progress of long operations; see tv_domain_set_progress_handler.
 *
 * @param task          what is going on, valid during the call
 * @param fraction      the part done, 0 to 1, or -1 where it is unknown
 * @param handler_data  the pointer that was given with the handler
 * @return 0 to go on; anything else asks the operation to stop
 */
typedef int (*tv_progress_handler_t)(const char* task, double fraction, void* handler_data);

/** @} */

/**
 * @defgroup status Status and version
 * These functions read the outcome of the calling thread's latest call and leave it as it is.
 * @{
 */

/**
 * Returns the status of the calling thread: the outcome of its latest call into the library.
 *
 * @return tv_status_none after a success, or before any call; otherwise the code of the failure
 */
TV_API tv_status_t tv_error_code(void);

/**
 * Returns the short name of a status code, such as "usage" or "no_memory".
 *
 * @param code  a status code
 * @return the name, a static string; "no_such_error" for a code above 47. Never NULL
 */
TV_API const char* tv_error_name(unsigned code);

/**
 * Returns a sentence or two for people about a status code.
 *
 * @param code  a status code
 * @return the description, a static string; "No such error." for a code above 47. Never NULL
 */
TV_API const char* tv_error_description(unsigned code);

/**
 * Says for people what went wrong in the latest call of the calling thread.
 *
 * It is one sentence that names the objects, without a full stop, such as `node "rain" has 2 states, so there
 * is no state 5`. Where the library knows no more than the code, it is the code's description.
 *
 * @return the message, of at most 239 bytes (a longer one ends with "..."), owned by the library and valid
 *         until the thread's next call; "" after a success. Never NULL
 */
TV_API const char* tv_error_message(void);

/**
 * Returns the line at which the latest message of a parser on the calling thread points.
 *
 * Handlers may ask for it, and it stays until the same thread reads another text. Unlike the position that a
 * handler is given, it is the line of files and strings alike, where the word or number begins at which the
 * parser stopped. Lines end with a line feed, a carriage return, or both.
 *
 * @return the line, counted from 1; 0 when the text that was read last has had no message
 */
TV_API size_t tv_error_line(void);

/**
 * Returns the column, in the line of tv_error_line, at which the latest message of a parser on the calling
 * thread points.
 *
 * @return the column in bytes, counted from 1; 0 when the text that was read last has had no message
 */
TV_API size_t tv_error_column(void);

/**
 * Returns the version of the library.
 *
 * @return "MAJOR.MINOR.PATCH", a static string. Never NULL
 */
TV_API const char* tv_get_version(void);

/** @} */

/**
 * @defgroup domains Domains
 * @{
 */

/**
 * Creates an empty domain.
 *
 * It has grain size 10000, concurrency levels 1, no log, no separator limits, node symbols of 80 by 40, and a
 * random number generator seeded with 310952.
 *
 * @return the domain: free it with tv_domain_delete; NULL on failure
 */
TV_API tv_domain_t* tv_new_domain(void);

/**
 * Deletes a domain with everything in it: nodes, tables, cliques, trees.
 *
 * All handles into it become invalid. The log stream and user data are yours and stay untouched, and so do
 * tables that the domain has given you (tv_domain_get_marginal, tv_node_get_distribution): free them with
 * tv_table_delete.
 *
 * @param domain  the domain
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_domain_delete(tv_domain_t* domain);

/**
 * Makes an independent copy of a domain.
 *
 * Copied are nodes (same order, numbers and names), links, states, tables with experience and fading, models,
 * attributes, display data, entered evidence, stored cases, the name of the file and settings. Not copied are
 * the compiled structure (compile the copy), the log stream, the progress handler, user data pointers, and
 * the state of the random numbers (the copy is seeded like a new domain).
 *
 * @param domain  the domain to copy
 * @return the copy: free it with tv_domain_delete; NULL on failure
 */
TV_API tv_domain_t* tv_domain_clone(tv_domain_t* domain);

/**
 * Counts the nodes of a domain, of all categories.
 *
 * @param domain  the domain
 * @return how many there are; all ones on failure
 */
TV_API size_t tv_domain_get_number_of_nodes(const tv_domain_t* domain);

/**
 * Returns the name of the file that a domain was parsed from.
 *
 * @param domain  the domain
 * @return the name as it was given to the parser, owned by the domain; NULL with status none when there is
 *         none (a domain created by calls, or parsed from a stream or a text); NULL on failure
 */
TV_API const char* tv_domain_get_file_name(const tv_domain_t* domain);

/** @} */

/**
 * @defgroup nodes Nodes
 * @{
 */

/**
 * Creates a node and uncompiles the domain.
 *
 * Accepted are: chance and decision with kind discrete or continuous; function with kind discrete or other;
 * utility with any kind (the node gets kind other). A discrete node starts with one state and subtype label.
 * Nodes are numbered 1, 2, 3 ... by order of creation; the new node becomes the first of the domain's list.
 * It has no name until one is set or asked for, and no table until one is asked for (no table counts as the
 * uniform distribution, for a continuous node as intercept 0, coefficients 0 and variance 1, for a utility
 * node as zero).
 *
 * @param domain    the domain that the node will belong to
 * @param category  what the node stands for
 * @param kind      what values it takes
 * @return the node, owned by the domain; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: the combination of category and kind is not among those above
 * - tv_status_cg_limids_not_supported: a continuous decision, a continuous chance node in a domain with
 *   decision or utility nodes, or a decision or utility node in a domain with continuous nodes
 * - tv_status_cyclic_functional_dependency: the first decision or utility node in a domain whose function
 *   nodes break the rules of decision models
 */
TV_API tv_node_t* tv_domain_new_node(tv_domain_t* domain, tv_node_category_t category, tv_node_kind_t kind);

/**
 * Deletes a node and uncompiles the domain.
 *
 * Its links go first: of each child's table the average over the node's states remains, and of a continuous
 * node the coefficients are dropped. Nodes created after it are numbered one lower. Its tables are deleted
 * with it.
 *
 * @param node  the node; its handle becomes invalid
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_node_delete(tv_node_t* node);

/**
 * Creates a copy of a node in the same domain and uncompiles the domain.
 *
 * Copied are category, kind, subtype, states with labels and values, parents with the tables, the model,
 * attributes, label and position, entered evidence and the cells of stored cases. The copy has no children,
 * no undirected links, no name until one is set or asked for, and no user data.
 *
 * @param node  the node to copy
 * @return the copy, owned by the domain; NULL on failure
 */
TV_API tv_node_t* tv_node_clone(tv_node_t* node);

/**
 * Returns the category of a node.
 *
 * @param node  the node
 * @return the category; tv_category_error on failure
 */
TV_API tv_node_category_t tv_node_get_category(const tv_node_t* node);

/**
 * Makes a chance node a decision node or the other way round, and uncompiles the domain if that is a change.
 *
 * A node that becomes a decision loses its experience and fading tables.
 *
 * @param node      a discrete chance or decision node
 * @param category  tv_category_chance or tv_category_decision
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the node is not discrete, is a function node, has a model or, where it is to become a
 *   decision, undirected links; or `category` is neither chance nor decision
 * - tv_status_cg_limids_not_supported: decision, in a domain with continuous nodes
 * - tv_status_cyclic_functional_dependency: the first decision in a domain whose function nodes break the
 *   rules of decision models
 */
TV_API tv_status_t tv_node_set_category(tv_node_t* node, tv_node_category_t category);

/**
 * Returns the kind of a node, which is fixed at its creation.
 *
 * @param node  the node
 * @return the kind; tv_kind_error (-2) on failure
 */
TV_API tv_node_kind_t tv_node_get_kind(const tv_node_t* node);

/**
 * Returns what the states of a discrete node mean.
 *
 * @param node  a discrete node
 * @return the subtype; tv_subtype_error on failure
 *
 * @par Failures
 * - tv_status_usage: the node is not discrete
 */
TV_API tv_node_subtype_t tv_node_get_subtype(const tv_node_t* node);

/**
 * Says what the states of a discrete node mean. State labels and values are kept.
 *
 * @param node     a discrete node
 * @param subtype  one of the four subtypes
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the node is not discrete, `subtype` is none of the four, or it is boolean and the node
 *   does not have exactly two states
 */
TV_API tv_status_t tv_node_set_subtype(tv_node_t* node, tv_node_subtype_t subtype);

/**
 * Returns the domain that a node belongs to.
 *
 * @param node  the node
 * @return the domain, which owns the node; NULL on failure
 */
TV_API tv_domain_t* tv_node_get_domain(const tv_node_t* node);

/**
 * Returns the first node of the domain's list, from which tv_node_get_next goes on.
 *
 * The newest node comes first: after creating A, B, C the list is C, B, A. A parsed domain lists its nodes in
 * the order of the file instead; nodes created later still go to the front.
 *
 * @param domain  the domain
 * @return the node, owned by the domain; NULL with status none when there is none; NULL on failure
 */
TV_API tv_node_t* tv_domain_get_first_node(const tv_domain_t* domain);

/**
 * Returns the next node of the domain's list.
 *
 * @param node  a node of the list
 * @return the node behind it, owned by the domain; NULL with status none at the end of the list; NULL on
 *         failure
 */
TV_API tv_node_t* tv_node_get_next(const tv_node_t* node);

/** @} */

/**
 * @defgroup names Names
 * @{
 */

/**
 * Names a node.
 *
 * A name begins with a letter or "_" and goes on with letters, digits and "_" (plain ASCII); several such
 * words may be joined by single dots, as in "engine.pump". Names are unique within the domain, and upper and
 * lower case differ. Setting the present name again succeeds.
 *
 * @param node  the node; it keeps its old name on failure
 * @param name  the name, copied
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_twice: another node of the domain has the name
 * - tv_status_invalid_name: it breaks the form above
 */
TV_API tv_status_t tv_node_set_name(tv_node_t* node, const char* name);

/**
 * Returns the name of a node, which is created first if it has none.
 *
 * A created name is C, D, F or U for chance, decision, function or utility, followed by the node's number
 * ("C5"); if that is taken, by the domain's number of nodes plus 1, or the next number that gives a free
 * name.
 *
 * @param node  the node
 * @return the name, owned by the node and valid until it is renamed; NULL on failure
 */
TV_API const char* tv_node_get_name(tv_node_t* node);

/**
 * Finds the node with exactly this name. Fast also in large domains.
 *
 * @param domain  the domain
 * @param name    the name, of any form
 * @return the node, owned by the domain; NULL with status none when no node has the name; NULL on failure
 */
TV_API tv_node_t* tv_domain_get_node_by_name(tv_domain_t* domain, const char* name);

/** @} */

/**
 * @defgroup states States
 * States are numbered from 0.
 * @{
 */

/**
 * Returns how many states a discrete node has.
 *
 * @param node  a discrete node
 * @return the number, at least 1; all ones on failure
 *
 * @par Failures
 * - tv_status_usage: the node is not discrete
 */
TV_API size_t tv_node_get_number_of_states(const tv_node_t* node);

/**
 * Changes how many states a discrete node has.
 *
 * The present number does nothing. Otherwise the domain is uncompiled and the node's findings are retracted.
 * Shrinking drops the last states with their labels and values, also from the stored cases; growing adds
 * states without a label, with state value -1. The uppermost bound of an interval node stays the uppermost.
 * In the tables, entries of states that remain are kept; the node's new states have probability 0 in its own
 * table, and given such a state its children are uniform (utilities 0).
 *
 * @param node   a discrete node that is not boolean (a boolean one has two states, always)
 * @param count  how many states it shall have, at least 1
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the node is not discrete, `count` is 0, or the node is boolean and `count` is not 2
 * - tv_status_no_memory: the numbers of a table that has them would exceed the memory limit
 *   (tv_domain_set_memory_limit), or `count` is beyond half of what a size_t holds
 */
TV_API tv_status_t tv_node_set_number_of_states(tv_node_t* node, size_t count);

/**
 * Labels a state of a discrete node. The text is free and may repeat.
 *
 * @param node   a discrete node
 * @param state  the state, below the number of states
 * @param label  the text, copied; "" removes the label
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the node is not discrete, or `state` is not below its number of states
 */
TV_API tv_status_t tv_node_set_state_label(tv_node_t* node, size_t state, const char* label);

/**
 * Returns the label of a state of a discrete node.
 *
 * @param node   a discrete node
 * @param state  the state, below the number of states
 * @return the label, owned by the node and valid until its labels or states change; for a state without one
 *         "", or "false" (state 0) and "true" (state 1) on a boolean node; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: the node is not discrete, or `state` is not below its number of states
 */
TV_API const char* tv_node_get_state_label(const tv_node_t* node, size_t state);

/**
 * Finds the one state with this label.
 *
 * @param node   a discrete node
 * @param label  the label to look for
 * @return the state; -1 with status none when no state has the label, and also when several have it; -1 on
 *         failure
 *
 * @par Failures
 * - tv_status_usage: the node is not discrete
 */
TV_API ptrdiff_t tv_node_get_state_index_from_label(const tv_node_t* node, const char* label);

/**
 * Sets the number that a state stands for, or a bound of an interval.
 *
 * A node of subtype number has one value for each state; one of subtype interval has bounds: state i covers
 * bound i to bound i + 1. Until they are set, numbers are -1, inner bounds are -1, and the outer bounds are
 * the lowest and the highest finite double. The outer bounds may be set to minus and plus infinity. The order
 * of the values is not checked here, but when a table is generated from them.
 *
 * @param node   a discrete node of subtype number or interval
 * @param state  the state, 0 to n - 1, of n states; the bound, 0 to n, of n intervals
 * @param value  the number, finite except for outer bounds
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the node is not discrete of these subtypes, `state` is out of range, or `value` is NaN,
 *   or infinite where it is not an outer bound
 */
TV_API tv_status_t tv_node_set_state_value(tv_node_t* node, size_t state, double value);

/**
 * Returns the number that a state stands for, or a bound of an interval.
 *
 * @param node   a discrete node of subtype number or interval
 * @param state  the state, 0 to n - 1, of n states; the bound, 0 to n, of n intervals
 * @return the number or bound; -1.0 on failure (which may also be an answer; see tv_error_code)
 *
 * @par Failures
 * - tv_status_usage: the node is not discrete of these subtypes, or `state` is out of range
 */
TV_API double tv_node_get_state_value(const tv_node_t* node, size_t state);

/**
 * Permutes the states of a discrete node and uncompiles the domain.
 *
 * Labels, state values, tables (its own and its children's), expressions of models, entered evidence and
 * stored cases move along.
 *
 * @param node   a discrete node
 * @param order  as many indices as there are states: the state that was number order[i] becomes state i
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the node is not discrete, or `order` is not a permutation of 0 to n - 1
 */
TV_API tv_status_t tv_node_reorder_states(tv_node_t* node, const size_t* order);

/** @} */

/**
 * @defgroup attributes Attributes
 * Free texts stored under a key, on a domain or on a node, kept in files.
 * @{
 */

/**
 * Stores a text under a key on a domain, or removes the key.
 *
 * A key that is there keeps its place in the list of attributes; a new key comes first. It is no failure to
 * remove a key that is not there.
 *
 * @param domain  the domain
 * @param key     the key, of the form of a C identifier, copied
 * @param value   the text, copied; may be null: the key is then removed
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_invalid_name: the key does not have the form of a C identifier, or stands for something else in
 *   files: node_size, inputs and outputs (removing them is no failure)
 */
TV_API tv_status_t tv_domain_set_attribute(tv_domain_t* domain, const char* key, const char* value);

/**
 * Stores a text under a key on a node, or removes the key.
 *
 * A key that is there keeps its place in the list of attributes; a new key comes first. It is no failure to
 * remove a key that is not there.
 *
 * @param node   the node
 * @param key    the key, of the form of a C identifier, copied
 * @param value  the text, copied; may be null: the key is then removed
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_invalid_name: the key does not have the form of a C identifier, or stands for something else in
 *   files: label, position, states, subtype and state_values (removing them is no failure)
 */
TV_API tv_status_t tv_node_set_attribute(tv_node_t* node, const char* key, const char* value);

/**
 * Returns the text stored under a key on a domain.
 *
 * @param domain  the domain
 * @param key     the key, of any form
 * @return the text, owned by the domain and valid until the key is set again or removed; NULL with status
 *         none when the key is not there; NULL on failure
 */
TV_API const char* tv_domain_get_attribute(const tv_domain_t* domain, const char* key);

/**
 * Returns the text stored under a key on a node.
 *
 * @param node  the node
 * @param key   the key, of any form
 * @return the text, owned by the node and valid until the key is set again or removed; NULL with status none
 *         when the key is not there; NULL on failure
 */
TV_API const char* tv_node_get_attribute(const tv_node_t* node, const char* key);

/**
 * Returns the first entry of a domain's list of attributes, from which tv_attribute_get_next goes on.
 *
 * The newest key comes first; those that a parser read stand in the order of the file.
 *
 * @param domain  the domain
 * @return the entry, owned by the domain until its key is removed; NULL with status none when the list is
 *         empty; NULL on failure
 */
TV_API tv_attribute_t* tv_domain_get_first_attribute(const tv_domain_t* domain);

/**
 * Returns the first entry of a node's list of attributes, from which tv_attribute_get_next goes on.
 *
 * The newest key comes first; those that a parser read stand in the order of the file.
 *
 * @param node  the node
 * @return the entry, owned by the node until its key is removed; NULL with status none when the list is
 *         empty; NULL on failure
 */
TV_API tv_attribute_t* tv_node_get_first_attribute(const tv_node_t* node);

/**
 * Returns the next entry of a list of attributes.
 *
 * @param attribute  an entry of the list
 * @return the entry behind it, owned by the domain or node until its key is removed; NULL with status none at
 *         the end of the list; NULL on failure
 */
TV_API tv_attribute_t* tv_attribute_get_next(const tv_attribute_t* attribute);

/**
 * Returns the key of an entry of a list of attributes.
 *
 * @param attribute  the entry
 * @return the key, owned by the entry; NULL on failure
 */
TV_API const char* tv_attribute_get_key(const tv_attribute_t* attribute);

/**
 * Returns the text of an entry of a list of attributes.
 *
 * @param attribute  the entry
 * @return the text, owned by the entry and valid until the key is set again; NULL on failure
 */
TV_API const char* tv_attribute_get_value(const tv_attribute_t* attribute);

/** @} */

/**
 * @defgroup user_data User data
 * One pointer of yours for each object (convention 12); cliques and trees have a second one. Those of tables
 * and models stand in their groups.
 * @{
 */

/**
 * Stores a pointer of yours with a domain.
 *
 * @param domain  the domain
 * @param data    the pointer, never looked at; may be null
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_domain_set_user_data(tv_domain_t* domain, void* data);

/**
 * Returns the pointer stored with a domain.
 *
 * @param domain  the domain
 * @return your pointer; NULL with status none when none has been stored; NULL on failure
 */
TV_API void* tv_domain_get_user_data(const tv_domain_t* domain);

/**
 * Stores a pointer of yours with a node.
 *
 * @param node  the node
 * @param data  the pointer, never looked at; may be null
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_node_set_user_data(tv_node_t* node, void* data);

/**
 * Returns the pointer stored with a node.
 *
 * @param node  the node
 * @return your pointer; NULL with status none when none has been stored; NULL on failure
 */
TV_API void* tv_node_get_user_data(const tv_node_t* node);

/**
 * Stores a pointer of yours with a clique, until the domain is uncompiled.
 *
 * @param clique  the clique
 * @param data    the pointer, never looked at; may be null
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_clique_set_user_data(tv_clique_t* clique, void* data);

/**
 * Returns the pointer stored with a clique.
 *
 * @param clique  the clique
 * @return your pointer; NULL with status none when none has been stored; NULL on failure
 */
TV_API void* tv_clique_get_user_data(const tv_clique_t* clique);

/**
 * Stores a pointer of yours with a junction tree, until the domain is uncompiled.
 *
 * @param jt    the junction tree
 * @param data  the pointer, never looked at; may be null
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_jt_set_user_data(tv_junction_tree_t* jt, void* data);

/**
 * Returns the pointer stored with a junction tree.
 *
 * @param jt  the junction tree
 * @return your pointer; NULL with status none when none has been stored; NULL on failure
 */
TV_API void* tv_jt_get_user_data(const tv_junction_tree_t* jt);

/**
 * Stores a second pointer of yours with a clique, until the domain is uncompiled; meant for bindings of other
 * languages.
 *
 * @param clique   the clique
 * @param pointer  the pointer, never looked at; may be null
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_clique_set_back_pointer(tv_clique_t* clique, void* pointer);

/**
 * Returns the second pointer stored with a clique.
 *
 * @param clique  the clique
 * @return your pointer; NULL with status none when none has been stored; NULL on failure
 */
TV_API void* tv_clique_get_back_pointer(const tv_clique_t* clique);

/**
 * Stores a second pointer of yours with a junction tree, until the domain is uncompiled; meant for bindings
 * of other languages.
 *
 * @param jt       the junction tree
 * @param pointer  the pointer, never looked at; may be null
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_jt_set_back_pointer(tv_junction_tree_t* jt, void* pointer);

/**
 * Returns the second pointer stored with a junction tree.
 *
 * @param jt  the junction tree
 * @return your pointer; NULL with status none when none has been stored; NULL on failure
 */
TV_API void* tv_jt_get_back_pointer(const tv_junction_tree_t* jt);

/** @} */

/**
 * @defgroup links Links
 * Every change of links uncompiles the domain and keeps the tables in step.
 * @{
 */

/**
 * Adds a link from `parent` to `child` and uncompiles the domain.
 *
 * A discrete parent goes to the front of the child's parents and becomes the first, slowest varying, node of
 * the child's table, whose present numbers are repeated for each of the new parent's states; so the child
 * does not depend on it yet. Other parents go to the end of the list; a continuous one has coefficient 0. The
 * experience and fading tables follow.
 *
 * @param child   the node that the link leads to
 * @param parent  the node that it comes from
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the nodes belong to different domains, the link exists, or, for a child that is not a
 *   function node, the parent is a utility node, or the child is discrete and the parent continuous
 * - tv_status_cyclic_network: a directed path leads from child to parent (undirected links count in both
 *   directions), or they are the same node
 * - tv_status_cyclic_functional_dependency: function nodes would depend on themselves
 * - tv_status_functional_dependency: the link would run into function nodes in a way that decision models do
 *   not support
 */
TV_API tv_status_t tv_node_add_parent(tv_node_t* child, tv_node_t* parent);

/**
 * Removes the link from `parent` to `child` and uncompiles the domain.
 *
 * The child's table becomes the average over the states of a discrete parent, and so do the experience and
 * fading tables. Of a continuous parent the coefficients are dropped. Expressions of the child's model that
 * mention the parent are unset.
 *
 * @param child   the node that the link leads to
 * @param parent  the node that it comes from
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: there is no such link, or it is one that nodes joined by undirected links share
 */
TV_API tv_status_t tv_node_remove_parent(tv_node_t* child, tv_node_t* parent);

/**
 * Removes the link from a discrete `parent` to `child` and uncompiles the domain.
 *
 * The child's table becomes the average over the parent's states, and so do the experience and fading tables.
 * Expressions of the child's model that mention the parent are unset.
 *
 * @param child   the node that the link leads to
 * @param parent  the discrete node that it comes from
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: there is no such link, it is one that nodes joined by undirected links share, or the
 *   parent is not discrete
 */
TV_API tv_status_t tv_node_remove_discrete_parent(tv_node_t* child, tv_node_t* parent);

/**
 * Puts `new_parent` in the place of `old_parent`, keeping the numbers of the child's table, and uncompiles
 * the domain.
 *
 * The two must be compatible: same category and kind; discrete nodes also the same subtype and number of
 * states, and then the same labels state by state (label), the same state values (number) or the same bounds
 * (interval). Expressions of the child's model that mention the old parent mention the new one then.
 *
 * @param child       the node that both links lead to
 * @param old_parent  a parent of it
 * @param new_parent  the node that takes its place
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: `old_parent` is not a parent, or by a link that nodes joined by undirected links share;
 *   `new_parent` is a parent already or belongs to another domain; or the two are not compatible
 * - tv_status_cyclic_network: a directed path leads from the child to `new_parent` (undirected links count in
 *   both directions), or they are the same node
 * - tv_status_cyclic_functional_dependency: function nodes would depend on themselves
 * - tv_status_functional_dependency: the new link would run into function nodes in a way that decision models
 *   do not support
 */
TV_API tv_status_t tv_node_switch_parent(tv_node_t* child, tv_node_t* old_parent, tv_node_t* new_parent);

/**
 * Turns the link between two chance nodes round without changing the joint distribution, and uncompiles the
 * domain (arc reversal; Shachter 1986, 1988).
 *
 * Each of the two also takes the other's parents, and both get new tables, so a reversal may add links.
 *
 * @param node1  one of the nodes
 * @param node2  the other one; the link may lead either way
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the nodes are not both chance nodes of the same kind, one has a model or undirected
 *   links, or no link joins them
 * - tv_status_cyclic_network: another directed path leads from the parent to the child
 * - tv_status_invalid_probability_potential: a table has a negative or infinite number or a distribution
 *   whose sum is zero, or the reversed distribution is not defined because some configuration of its parents
 *   has probability zero
 * - tv_status_overflow: a number of a continuous node's new distribution is too large
 * - tv_status_no_memory: the new tables would exceed the memory limit (tv_domain_set_memory_limit)
 */
TV_API tv_status_t tv_node_reverse_edge(tv_node_t* node1, tv_node_t* node2);

/** @} */

/**
 * @defgroup graph Graph queries
 * @{
 */

/**
 * Lists the parents of a node: discrete ones first, the newest in front, then the others.
 *
 * @param node  the node
 * @return the list, owned by the node and valid until its parents change; NULL on failure
 */
TV_API tv_node_t** tv_node_get_parents(const tv_node_t* node);

/**
 * Lists the children of a node.
 *
 * @param node  the node
 * @return the list, owned by the node and valid until its children change; NULL on failure
 */
TV_API tv_node_t** tv_node_get_children(const tv_node_t* node);

/**
 * Lists all nodes from which a directed path leads to a node, each once, without the node itself.
 *
 * @param node  the node
 * @return the list: free it with free(); NULL on failure
 */
TV_API tv_node_t** tv_node_get_ancestors(const tv_node_t* node);

/**
 * Lists all nodes to which a directed path leads from a node, each once, without the node itself.
 *
 * @param node  the node
 * @return the list: free it with free(); NULL on failure
 */
TV_API tv_node_t** tv_node_get_descendants(const tv_node_t* node);

/** @} */

/**
 * @defgroup display Display
 * What an editor needs to draw the network. The library only stores it, in units of the host's choice.
 * @{
 */

/**
 * Sets the size of the symbol of every node of a domain.
 *
 * @param domain  the domain
 * @param width   the width, in the host's units; not all ones
 * @param height  the height, in the host's units; not all ones
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: one of them is all ones
 */
TV_API tv_status_t tv_domain_set_node_size(tv_domain_t* domain, size_t width, size_t height);

/**
 * Gets the size of the symbol of every node of a domain. On failure nothing is written.
 *
 * @param domain       the domain
 * @param[out] width   the width, in the host's units, 80 until it is set
 * @param[out] height  the height, in the host's units, 40 until it is set
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_domain_get_node_size(const tv_domain_t* domain, size_t* width, size_t* height);

/**
 * Sets the position of a node's symbol.
 *
 * @param node  the node
 * @param x     the horizontal coordinate, in the host's units
 * @param y     the vertical coordinate, in the host's units
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_node_set_position(tv_node_t* node, long x, long y);

/**
 * Gets the position of a node's symbol. On failure nothing is written.
 *
 * @param node    the node
 * @param[out] x  the horizontal coordinate, in the host's units, 0 until it is set
 * @param[out] y  the vertical coordinate, in the host's units, 0 until it is set
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_node_get_position(const tv_node_t* node, long* x, long* y);

/**
 * Sets the text to show for a node. It is free and need not be unique.
 *
 * @param node   the node
 * @param label  the text, copied
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_node_set_label(tv_node_t* node, const char* label);

/**
 * Returns the text to show for a node.
 *
 * @param node  the node
 * @return the text, "" until it is set, owned by the node and valid until it is set again; NULL on failure
 */
TV_API const char* tv_node_get_label(const tv_node_t* node);

/** @} */

/**
 * @defgroup node_tables Tables of nodes
 * @{
 */

/**
 * Returns the table of a node, which is created when first asked for; its numbers are when tv_table_get_data
 * is.
 *
 * A chance node has its distribution given its parents, a decision node its policy, both created uniform (one
 * over the number of states); a utility node has its values over its discrete parents, created as zero; a
 * discrete function node has a distribution over itself alone. The nodes of the table are the discrete
 * parents in the order of tv_node_get_parents and then, if it is discrete, the node itself. Write through
 * tv_table_get_data, then call tv_node_touch_table. Distributions need not sum to one: each is divided by its
 * sum when it is first used, and the table shows the result.
 *
 * The table of a continuous node has its discrete parents, then the node and its continuous parents, on which
 * it is conditional; its data are ones. Its distribution is set and read by tv_node_set_intercept and those
 * that follow it.
 *
 * @param node  a node that is no real-valued function
 * @return the table, owned by the node; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: a real-valued function node, which has no table
 */
TV_API tv_table_t* tv_node_get_table(tv_node_t* node);

/**
 * Sets the intercept of a continuous node's distribution in one configuration of its discrete parents.
 *
 * The node is normal around the intercept plus the sum of each continuous parent times its coefficient, with
 * the conditional variance, which is 0 for a node that is a linear function of its parents. A new node has
 * intercept 0, coefficients 0 and variance 1 in every configuration. Adding a discrete parent repeats what is
 * set, removing one averages it over its states; removing a continuous parent drops its coefficients. The
 * domain stays compiled; the next propagation takes the new number.
 *
 * @param node           a continuous node
 * @param configuration  the configuration of its discrete parents, numbered as in the node's table, whose
 *                       discrete nodes they are (convention 9); 0 for a node without any
 * @param value          the intercept, in the unit of the node's values, finite
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the node is not continuous, there is no such configuration, or `value` is NaN or
 *   infinite
 * - tv_status_no_memory: the table has no numbers yet, and they would exceed the memory limit
 *   (tv_domain_set_memory_limit)
 */
TV_API tv_status_t tv_node_set_intercept(tv_node_t* node, size_t configuration, double value);

/**
 * Sets the coefficient of a continuous parent in the distribution of a continuous node, in one configuration
 * of its discrete parents.
 *
 * The node is normal around the intercept plus the sum of each continuous parent times its coefficient.
 * Coefficients are 0 until they are set. The domain stays compiled; the next propagation takes the new
 * number.
 *
 * @param node           a continuous node
 * @param parent         a continuous parent of it
 * @param configuration  the configuration of its discrete parents, numbered as in the node's table, whose
 *                       discrete nodes they are (convention 9); 0 for a node without any
 * @param value          the coefficient: units of the node's values for one unit of the parent's, finite
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the node is not continuous, `parent` is not a continuous parent of it, there is no such
 *   configuration, or `value` is NaN or infinite
 * - tv_status_no_memory: the table has no numbers yet, and they would exceed the memory limit
 *   (tv_domain_set_memory_limit)
 */
TV_API tv_status_t tv_node_set_coefficient(tv_node_t* node, tv_node_t* parent, size_t configuration,
                                           double value);

/**
 * Sets the variance of a continuous node given its parents, in one configuration of its discrete parents.
 *
 * It is 1 until it is set; 0 makes the node a linear function of its continuous parents. The domain stays
 * compiled; the next propagation takes the new number.
 *
 * @param node           a continuous node
 * @param configuration  the configuration of its discrete parents, numbered as in the node's table, whose
 *                       discrete nodes they are (convention 9); 0 for a node without any
 * @param value          the variance, in the square of the unit of the node's values, finite and not negative
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the node is not continuous, there is no such configuration, or `value` is negative, NaN
 *   or infinite
 * - tv_status_no_memory: the table has no numbers yet, and they would exceed the memory limit
 *   (tv_domain_set_memory_limit)
 */
TV_API tv_status_t tv_node_set_conditional_variance(tv_node_t* node, size_t configuration, double value);

/**
 * Returns the intercept of a continuous node's distribution in one configuration of its discrete parents.
 * Creates nothing.
 *
 * @param node           a continuous node
 * @param configuration  the configuration of its discrete parents, numbered as in the node's table
 *                       (convention 9); 0 for a node without any
 * @return the intercept, 0 until it is set; -1.0 on failure (which may also be an answer; see tv_error_code)
 *
 * @par Failures
 * - tv_status_usage: the node is not continuous, or there is no such configuration
 */
TV_API double tv_node_get_intercept(tv_node_t* node, size_t configuration);

/**
 * Returns the coefficient of a continuous parent in the distribution of a continuous node, in one
 * configuration of its discrete parents. Creates nothing.
 *
 * @param node           a continuous node
 * @param parent         a continuous parent of it
 * @param configuration  the configuration of its discrete parents, numbered as in the node's table
 *                       (convention 9); 0 for a node without any
 * @return the coefficient, 0 until it is set; -1.0 on failure (which may also be an answer; see
 *         tv_error_code)
 *
 * @par Failures
 * - tv_status_usage: the node is not continuous, `parent` is not a continuous parent of it, or there is no
 *   such configuration
 */
TV_API double tv_node_get_coefficient(tv_node_t* node, tv_node_t* parent, size_t configuration);

/**
 * Returns the variance of a continuous node given its parents, in one configuration of its discrete parents.
 * Creates nothing.
 *
 * @param node           a continuous node
 * @param configuration  the configuration of its discrete parents, numbered as in the node's table
 *                       (convention 9); 0 for a node without any
 * @return the variance, 1 until it is set; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: the node is not continuous, or there is no such configuration
 */
TV_API double tv_node_get_conditional_variance(tv_node_t* node, size_t configuration);

/**
 * Returns the experience table of a chance node: for each configuration of its discrete parents, how many
 * cases stand behind the distribution.
 *
 * Over the discrete parents only; created with zeros when first asked for.
 *
 * @param node  a chance node
 * @return the table, owned by the node; tv_table_delete removes it from there; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: not a chance node
 */
TV_API tv_table_t* tv_node_get_experience_table(tv_node_t* node);

/**
 * Returns the fading table of a discrete chance node: for each configuration of its parents, the factor by
 * which older experience is discounted.
 *
 * Over the parents only; created with ones when first asked for.
 *
 * @param node  a discrete chance node
 * @return the table, owned by the node; tv_table_delete removes it from there; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: not a discrete chance node
 */
TV_API tv_table_t* tv_node_get_fading_table(tv_node_t* node);

/**
 * Tells whether a node has an experience table now. Creates nothing.
 *
 * @param node  the node
 * @return 1 or 0; -1 on failure
 */
TV_API int tv_node_has_experience_table(const tv_node_t* node);

/**
 * Tells whether a node has a fading table now. Creates nothing.
 *
 * @param node  the node
 * @return 1 or 0; -1 on failure
 */
TV_API int tv_node_has_fading_table(const tv_node_t* node);

/**
 * Tells the library that the numbers of a node's table have been changed.
 *
 * The next propagation checks them and starts from a reset. Call it after every direct change through
 * tv_table_get_data. The domain stays compiled, and the present beliefs stay as they are until you propagate.
 *
 * Joint marginals and clique tables stay, too, if you ask tv_table_get_data for the numbers after the last
 * propagation and before you change them. Changed through a pointer from before, they may be gone:
 * no_equilibrium until you propagate.
 *
 * @param node  the node whose table it is
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_node_touch_table(tv_node_t* node);

/** @} */

/**
 * @defgroup tables Tables
 * Shared by the tables of nodes, of cliques, and the marginals that you ask for. A table over k discrete
 * nodes has one number for each configuration of them (convention 9). With n continuous nodes each
 * configuration also has n(n + 3) / 2 numbers: for continuous node i its mean and its covariances with nodes
 * 0 to i.
 * @{
 */

/**
 * Lists the nodes of a table: discrete ones in index order, then continuous ones.
 *
 * A table that is yours (tv_domain_get_marginal, tv_node_get_distribution) keeps its numbers and the sizes
 * that its nodes had, whatever becomes of them. Once one of them, or their domain, has been deleted, it has
 * no list of nodes and cannot be reordered any more.
 *
 * @param table  the table
 * @return the list, owned by the table and valid until its nodes change; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: a node of the table has been deleted
 */
TV_API tv_node_t** tv_table_get_nodes(const tv_table_t* table);

/**
 * Returns the numbers of a table, tv_table_get_size of them, in the order of convention 9. They are allocated
 * when first asked for.
 *
 * You may write into the data of a node's table (then call tv_node_touch_table) and of a marginal; the data
 * of a clique's table show the propagated numbers and are for reading. Where a propagation has done without
 * tables of cliques, the first call forms those of the whole tree, which may take as long as the propagation
 * did.
 *
 * @param table  the table
 * @return the numbers, owned by the table and valid until it is reordered, resized or deleted; for a clique,
 *         until the next propagation; NULL on failure
 *
 * @par Failures
 * - tv_status_no_memory: also when the size does not fit into a size_t, or the numbers would exceed the
 *   memory limit (tv_domain_set_memory_limit)
 * - tv_status_no_equilibrium: of a clique's table, which rests on the numbers of a node's table that have
 *   been changed since the last propagation, through a pointer from before it
 * - tv_status_overflow: of a clique's table: likelihoods or unnormalised tables let an entry grow beyond
 *   3.40282e+38
 * - tv_status_error: of a clique's table: the progress handler asked to stop
 */
TV_API tv_number_t* tv_table_get_data(tv_table_t* table);

/**
 * Returns how many numbers a table has: one for each configuration of its discrete nodes.
 *
 * @param table  the table
 * @return the product of the numbers of states, 1 without discrete nodes; all ones on failure
 *
 * @par Failures
 * - tv_status_size_too_large: the product does not fit into a size_t
 */
TV_API size_t tv_table_get_size(const tv_table_t* table);

/**
 * Returns how many numbers describe the continuous nodes of a table, over all configurations of the discrete
 * ones.
 *
 * @param table  the table
 * @return tv_table_get_size times n(n + 3) / 2, for n continuous nodes; all ones on failure
 *
 * @par Failures
 * - tv_status_size_too_large: it does not fit into a size_t
 */
TV_API size_t tv_table_get_cg_size(const tv_table_t* table);

/**
 * Returns the mean of a continuous node of a table, in one configuration of the discrete nodes.
 *
 * @param table  a table that is not conditional on a continuous node, as that of a continuous node with
 *               continuous parents is
 * @param index  the configuration, below tv_table_get_size
 * @param node   a continuous node of the table
 * @return the mean, in the unit of the node's values; -1.0 on failure (which may also be an answer; see
 *         tv_error_code)
 *
 * @par Failures
 * - tv_status_usage: `index` is not below the size, the node is not a continuous node of the table, or the
 *   table is conditional on a continuous node
 * - tv_status_no_memory: also when the numbers of the table would exceed the memory limit
 *   (tv_domain_set_memory_limit)
 */
TV_API double tv_table_get_mean(tv_table_t* table, size_t index, tv_node_t* node);

/**
 * Returns the covariance of two continuous nodes of a table, in one configuration of the discrete nodes.
 *
 * @param table  a table that is not conditional on a continuous node, as that of a continuous node with
 *               continuous parents is
 * @param index  the configuration, below tv_table_get_size
 * @param node1  a continuous node of the table
 * @param node2  a continuous node of the table; twice one node gives its variance
 * @return the covariance, in the product of the units of both nodes; -1.0 on failure (which may also be an
 *         answer; see tv_error_code)
 *
 * @par Failures
 * - tv_status_usage: `index` is not below the size, one of the nodes is not a continuous node of the table,
 *   or the table is conditional on a continuous node
 * - tv_status_no_memory: also when the numbers of the table would exceed the memory limit
 *   (tv_domain_set_memory_limit)
 */
TV_API double tv_table_get_covariance(tv_table_t* table, size_t index, tv_node_t* node1, tv_node_t* node2);

/**
 * Returns the variance of a continuous node of a table, in one configuration of the discrete nodes.
 *
 * @param table  a table that is not conditional on a continuous node, as that of a continuous node with
 *               continuous parents is
 * @param index  the configuration, below tv_table_get_size
 * @param node   a continuous node of the table
 * @return the variance, in the square of the unit of the node's values; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: `index` is not below the size, the node is not a continuous node of the table, or the
 *   table is conditional on a continuous node
 * - tv_status_no_memory: also when the numbers of the table would exceed the memory limit
 *   (tv_domain_set_memory_limit)
 */
TV_API double tv_table_get_variance(tv_table_t* table, size_t index, tv_node_t* node);

/**
 * Returns the density of a continuous node of a table at a value.
 *
 * It is that of the mixture of normal distributions, one for each configuration of the discrete nodes,
 * weighted by the table's data, which are divided by their sum.
 *
 * @param table  a table that is not conditional on a continuous node
 * @param node   a continuous node of the table
 * @param value  the value, in the unit of the node's values, finite
 * @return the density, per unit of the node's values; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: the node is not a continuous node of the table, the table is conditional on a continuous
 *   node, or `value` is NaN or infinite
 * - tv_status_normalization: the data do not sum to more than zero
 * - tv_status_zero_variance: the value itself has a positive probability, and so no density
 * - tv_status_no_memory: also when the numbers of the table would exceed the memory limit
 *   (tv_domain_set_memory_limit)
 */
TV_API double tv_table_compute_density(tv_table_t* table, tv_node_t* node, double value);

/**
 * Returns the probability that a continuous node of a table lies within an interval.
 *
 * It is that of the mixture of normal distributions, one for each configuration of the discrete nodes,
 * weighted by the table's data, which are divided by their sum.
 *
 * @param table  a table that is not conditional on a continuous node
 * @param node   a continuous node of the table
 * @param low    the lower end, in the unit of the node's values; it counts as inside; may be infinite
 * @param high   the upper end, in the unit of the node's values; it counts as inside; may be infinite
 * @return the probability; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: the node is not a continuous node of the table, the table is conditional on a continuous
 *   node, or `low` is above `high` or either is NaN
 * - tv_status_normalization: the data do not sum to more than zero
 * - tv_status_no_memory: also when the numbers of the table would exceed the memory limit
 *   (tv_domain_set_memory_limit)
 */
TV_API double tv_table_compute_probability_of_interval(tv_table_t* table, tv_node_t* node, double low,
                                                       double high);

/**
 * Returns the index of a configuration of a table's discrete nodes. For A (2 states) and B (3 states), (1, 0)
 * has index 3.
 *
 * @param table   the table
 * @param states  one state for each discrete node, in table order; may be null for a table without any
 * @return the index; all ones on failure
 *
 * @par Failures
 * - tv_status_usage: a state is out of range
 * - tv_status_size_too_large: the size of the table does not fit into a size_t
 */
TV_API size_t tv_table_get_index_from_configuration(const tv_table_t* table, const size_t* states);

/**
 * Gets the configuration of a table's discrete nodes that has an index. For A (2 states) and B (3 states),
 * index 5 is (1, 2). On failure nothing is written.
 *
 * @param table        the table
 * @param[out] states  one state for each discrete node, in table order: room for as many as there are; may be
 *                     null for a table without any
 * @param index        the index, below tv_table_get_size
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: `index` is not below the size
 */
TV_API tv_status_t tv_table_get_configuration_from_index(const tv_table_t* table, size_t* states,
                                                         size_t index);

/**
 * Puts the nodes of a table into another order and permutes its numbers accordingly.
 *
 * Pointers to its data become invalid. The present order does nothing.
 *
 * @param table  a table of a node, or one that is yours
 * @param order  the nodes in their new order: exactly those of the table, discrete ones before continuous
 *               ones
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: `order` does not hold exactly the nodes of the table, a continuous node stands before a
 *   discrete one, a discrete node would not be the last discrete node of its own table, the table belongs to
 *   a clique, or one of its nodes has been deleted
 */
TV_API tv_status_t tv_table_reorder_nodes(tv_table_t* table, tv_node_t** order);

/**
 * Deletes a table that is yours, or a node's experience or fading table.
 *
 * Yours are those of tv_domain_get_marginal and tv_node_get_distribution. Any other table belongs to a node
 * or a clique: it is left alone, and the call succeeds.
 *
 * @param table  the table; its handle becomes invalid, unless it is left alone
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_table_delete(tv_table_t* table);

/**
 * Stores a pointer of yours with a table.
 *
 * @param table  the table
 * @param data   the pointer, never looked at; may be null
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_table_set_user_data(tv_table_t* table, void* data);

/**
 * Returns the pointer stored with a table.
 *
 * @param table  the table
 * @return your pointer; NULL with status none when none has been stored; NULL on failure
 */
TV_API void* tv_table_get_user_data(const tv_table_t* table);

/** @} */

/**
 * @defgroup expressions Expressions
 * An expression is a formula over the nodes of a domain. It gives a number, a label, a truth value or a
 * probability distribution. Expressions are trees: a leaf is a number, a label, a truth value or a node, and
 * a composite has an operator and its operands.
 *
 * A composite holds its operands and a model holds its expressions: deleting what is held does nothing, and
 * what its last holder gives up is gone. An expression that nobody holds is yours, to be freed with
 * tv_expression_delete. An expression must not outlive its nodes; those that models hold are looked after.
 *
 * Types: arithmetic and the parameters of distributions take numbers; `and`, `or`, `not` and conditions take
 * truth values; a comparison takes operands of one type. What a discrete node stands for hangs on its subtype
 * (a label, a truth value, or the number of its state), which may still change when the expression is made;
 * it is checked when a table is generated. Continuous, utility and function nodes stand for numbers.
 *
 * As text: `a + b * #c ^ 2`, `if (Smoker, Beta (2, 3), Uniform (0, 1))`, `Colour == "red"`. From the loosest:
 * one comparison (`==` or `=`, `!=` or `<>`, `<`, `<=`, `>`, `>=`), `+` and `-`, `*` and `/`, `^` from right
 * to left. A sign in front counts for the whole first term: `-2 ^ 2` is -4. `#node` is the index of a
 * discrete node's state. A node named `true` or `false` goes before the truth value.
 *
 * Expressions are at most 2000 operators high.
 * @{
 */

/**
 * Makes a leaf that is a number.
 *
 * @param number  the number; infinite ones and NaN print as what cannot be read back
 * @return the expression: free it with tv_expression_delete, unless it is held; NULL on failure
 */
TV_API tv_expression_t* tv_number_make_expression(double number);

/**
 * Makes a leaf that is a truth value.
 *
 * @param value  0 for false, anything else for true
 * @return the expression: free it with tv_expression_delete, unless it is held; NULL on failure
 */
TV_API tv_expression_t* tv_boolean_make_expression(int value);

/**
 * Makes a leaf that is a label.
 *
 * @param label  the text, copied
 * @return the expression: free it with tv_expression_delete, unless it is held; NULL on failure
 */
TV_API tv_expression_t* tv_label_make_expression(const char* label);

/**
 * Makes a leaf that is a node.
 *
 * @param node  the node, which the expression must not outlive
 * @return the expression: free it with tv_expression_delete, unless it is held; NULL on failure
 */
TV_API tv_expression_t* tv_node_make_expression(tv_node_t* node);

/**
 * Makes a composite of an operator and its operands, which it holds from now on.
 *
 * An operand may stand in it more than once and in other composites too. On failure the operands are left
 * alone.
 *
 * @param op        the operator, none of a leaf
 * @param operands  the operands in their order, none of them changed
 * @return the expression: free it with tv_expression_delete, unless it is held; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: `op` is no operator, or that of a leaf
 * - tv_status_invalid_expression: the wrong number of operands, wrong types, an argument of `probability`
 *   that does not mention exactly one node, a discrete one, or that contains `probability` itself, or an
 *   expression that would be too high
 */
TV_API tv_expression_t* tv_make_composite_expression(tv_operator_t op, tv_expression_t** operands);

/**
 * Tells whether an expression is a composite or a leaf.
 *
 * @param expression  the expression
 * @return 1 for a composite, 0 for a leaf; -1 on failure
 */
TV_API int tv_expression_is_composite(const tv_expression_t* expression);

/**
 * Returns the operator of a composite, or the kind of a leaf.
 *
 * @param expression  the expression
 * @return the operator, from 60 to 117; -1 on failure
 */
TV_API tv_operator_t tv_expression_get_operator(const tv_expression_t* expression);

/**
 * Lists the operands of a composite.
 *
 * @param expression  a composite
 * @return the list, owned by the expression; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: the expression is a leaf
 */
TV_API tv_expression_t** tv_expression_get_operands(const tv_expression_t* expression);

/**
 * Returns the node of a leaf that is a node.
 *
 * @param expression  the leaf
 * @return the node, owned by its domain; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: another expression
 */
TV_API tv_node_t* tv_expression_get_node(const tv_expression_t* expression);

/**
 * Returns the number of a leaf that is a number.
 *
 * @param expression  the leaf
 * @return the number; -1.0 on failure (which may also be an answer; see tv_error_code)
 *
 * @par Failures
 * - tv_status_usage: another expression
 */
TV_API double tv_expression_get_number(const tv_expression_t* expression);

/**
 * Returns the text of a leaf that is a label.
 *
 * @param expression  the leaf
 * @return the text, owned by the expression; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: another expression
 */
TV_API const char* tv_expression_get_label(const tv_expression_t* expression);

/**
 * Returns the truth value of a leaf that is one.
 *
 * @param expression  the leaf
 * @return 1 for true, 0 for false; -1 on failure
 *
 * @par Failures
 * - tv_status_usage: another expression
 */
TV_API int tv_expression_get_boolean(const tv_expression_t* expression);

/**
 * Copies an expression, with operands of its own.
 *
 * @param expression  the expression
 * @return the copy: free it with tv_expression_delete, unless it is held; NULL on failure
 *
 * @par Failures
 * - tv_status_no_memory: also when the copy, in which shared operands stand once for each use, would have
 *   more than 2^28 parts
 */
TV_API tv_expression_t* tv_expression_clone(const tv_expression_t* expression);

/**
 * Deletes an expression and the operands that nobody else holds.
 *
 * An expression that a composite or a model holds is left alone, without a failure.
 *
 * @param expression  the expression
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_expression_delete(tv_expression_t* expression);

/**
 * Reads an expression over the nodes of a domain. The whole text must be one expression.
 *
 * @param text          the text
 * @param domain        the domain whose nodes it mentions
 * @param handler       is told of the error; positions count characters; may be null
 * @param handler_data  a pointer for the handler; may be null
 * @return the expression: free it with tv_expression_delete, unless it is held; NULL on failure
 *
 * @par Failures
 * - tv_status_syntax: the text is no expression, is nested more than 500 deep, or mentions a name that no
 *   node of the domain has
 * - tv_status_invalid_expression: an operator with the wrong number of operands or wrong types, an argument
 *   of `probability` that does not mention exactly one node, a discrete one, or that contains `probability`
 *   itself, or an expression that would be too high
 */
TV_API tv_expression_t* tv_string_to_expression(const char* text, tv_domain_t* domain,
                                                tv_error_handler_t handler, void* handler_data);

/**
 * Reads an expression over the nodes of a domain: tv_string_to_expression with the domain in front.
 *
 * @param domain        the domain whose nodes the text mentions
 * @param text          the text, as a whole one expression
 * @param handler       is told of the error; positions count characters; may be null
 * @param handler_data  a pointer for the handler; may be null
 * @return the expression: free it with tv_expression_delete, unless it is held; NULL on failure
 *
 * @par Failures
 * - tv_status_syntax: the text is no expression, is nested more than 500 deep, or mentions a name that no
 *   node of the domain has
 * - tv_status_invalid_expression: an operator with the wrong number of operands or wrong types, an argument
 *   of `probability` that does not mention exactly one node, a discrete one, or that contains `probability`
 *   itself, or an expression that would be too high
 */
TV_API tv_expression_t* tv_domain_string_to_expression(tv_domain_t* domain, const char* text,
                                                       tv_error_handler_t handler, void* handler_data);

/**
 * Reads an expression over the nodes of a domain: another name of tv_string_to_expression.
 *
 * @param text          the text, as a whole one expression
 * @param domain        the domain whose nodes it mentions
 * @param handler       is told of the error; positions count characters; may be null
 * @param handler_data  a pointer for the handler; may be null
 * @return the expression: free it with tv_expression_delete, unless it is held; NULL on failure
 *
 * @par Failures
 * - tv_status_syntax: the text is no expression, is nested more than 500 deep, or mentions a name that no
 *   node of the domain has
 * - tv_status_invalid_expression: an operator with the wrong number of operands or wrong types, an argument
 *   of `probability` that does not mention exactly one node, a discrete one, or that contains `probability`
 *   itself, or an expression that would be too high
 */
TV_API tv_expression_t* tv_string_parse_expression(const char* text, tv_domain_t* domain,
                                                   tv_error_handler_t handler, void* handler_data);

/**
 * Writes an expression as text, with the fewest parentheses.
 *
 * Reading it gives the expression again, but for the digits of numbers beyond six. Nodes without a name get
 * one.
 *
 * @param expression  the expression
 * @return the text: free it with free(); NULL on failure
 *
 * @par Failures
 * - tv_status_no_memory: also when the expression has more than 2^28 parts, shared ones counted once for each
 *   use
 */
TV_API char* tv_expression_to_string(const tv_expression_t* expression);

/** @} */

/**
 * @defgroup models Models
 * A model states the table of a node by expressions instead of numbers: one for each configuration of its
 * *model nodes*, some of the node's discrete parents (often none at all). Tables are generated from models
 * when a compilation or propagation needs them, and only when something changed since: the model, its
 * expressions, the states, values or labels of the node or its parents.
 *
 * What an expression gives must suit the node. A chance, decision or discrete function node takes a
 * distribution over its states, or a value, which is the state of probability one; a utility node and a
 * real-valued function node take a number. A parent that stands for a number is read as the value of its
 * state; for a parent with intervals the results are averaged over sample points in each interval.
 *
 * Models follow the network: a parent that goes takes the expressions that mention it along, a model node
 * leaves those of its first state, new states of a model node have no expression yet.
 *
 * A real-valued function node has no table: its value is computed when asked for (tv_node_get_value) from the
 * results of its parents. A discrete function node has a table over its own states, computed from those
 * results when it is needed.
 * @{
 */

/**
 * Gives a node a model, without expressions yet.
 *
 * @param node         a node without a model that is not continuous
 * @param model_nodes  discrete parents of the node; the first varies slowest in the order of the expressions;
 *                     may be empty
 * @return the model, owned by the node: free it with tv_model_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: the node has a model or is continuous, or an entry of the list is no discrete parent or
 *   stands there twice
 */
TV_API tv_model_t* tv_node_new_model(tv_node_t* node, tv_node_t** model_nodes);

/**
 * Returns the model of a node.
 *
 * @param node  the node
 * @return the model, owned by the node; NULL with status none when there is none; NULL on failure
 */
TV_API tv_model_t* tv_node_get_model(const tv_node_t* node);

/**
 * Lists the model nodes of a model.
 *
 * @param model  the model
 * @return the list, owned by the model and valid until the node's parents change; NULL on failure
 */
TV_API tv_node_t** tv_model_get_nodes(const tv_model_t* model);

/**
 * Returns how many expressions a model has: one for each configuration of the model nodes.
 *
 * @param model  the model
 * @return the product of their numbers of states, 1 without model nodes; all ones on failure
 *
 * @par Failures
 * - tv_status_size_too_large: the product does not fit into a size_t
 */
TV_API size_t tv_model_get_size(const tv_model_t* model);

/**
 * Deletes the model of a node. The node keeps the table that was generated last.
 *
 * @param model  the model; its handle becomes invalid
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_model_delete(tv_model_t* model);

/**
 * Sets or unsets the expression for one configuration of the model nodes.
 *
 * The model holds the expression from now on; the one that stood there is given up.
 *
 * @param model       the model
 * @param index       the configuration of the model nodes, numbered as in a table over them (convention 9)
 * @param expression  the expression; may be null: there is none then
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: `index` is not below the model's size, or the expression mentions a node of another
 *   domain
 * - tv_status_no_memory: also when the expression has more than 2^28 parts, shared ones counted once for each
 *   use
 */
TV_API tv_status_t tv_model_set_expression(tv_model_t* model, size_t index, tv_expression_t* expression);

/**
 * Returns the expression for one configuration of the model nodes.
 *
 * @param model  the model
 * @param index  the configuration of the model nodes, numbered as in a table over them (convention 9)
 * @return the expression, held by the model; NULL with status none where there is none; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: `index` is not below the model's size
 */
TV_API tv_expression_t* tv_model_get_expression(const tv_model_t* model, size_t index);

/**
 * Sets in how many points each interval of a parent is sampled when a table is generated, 25 at first.
 *
 * @param model  the model
 * @param count  how many points
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: `count` is 0 or all ones
 */
TV_API tv_status_t tv_model_set_number_of_samples_per_interval(tv_model_t* model, size_t count);

/**
 * Returns in how many points each interval of a parent is sampled when a table is generated.
 *
 * @param model  the model
 * @return how many points, 25 until it is set; all ones on failure
 */
TV_API size_t tv_model_get_number_of_samples_per_interval(const tv_model_t* model);

/**
 * Stores a pointer of yours with a model.
 *
 * @param model  the model
 * @param data   the pointer, never looked at; may be null
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_model_set_user_data(tv_model_t* model, void* data);

/**
 * Returns the pointer stored with a model.
 *
 * @param model  the model
 * @return your pointer; NULL with status none when none has been stored; NULL on failure
 */
TV_API void* tv_model_get_user_data(const tv_model_t* model);

/**
 * Generates a node's table from its model now, unless it agrees with the model already.
 *
 * Compiling and propagating do this by themselves. What is done, and what is wrong, is written to the
 * domain's log. On failure the table is left as it was.
 *
 * @param node  a node with a model that is no real-valued function
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the node has no model or is a real-valued function
 * - tv_status_invalid_expression: an expression is missing or does not suit the node, or gives a value that
 *   is none of its states
 * - tv_status_invalid_state_values: of the node or a parent: they do not increase, or are infinite where they
 *   must not be
 * - tv_status_insufficient_state_range: the states do not cover the distribution
 * - tv_status_inappropriate_arguments: of a function or a distribution
 * - tv_status_division_by_zero: in an expression
 * - tv_status_computation_failed: there is no finite number, or the state of a discrete parent of a function
 *   does not follow from the evidence
 * - tv_status_invalid_probability_potential: a probability would be negative
 * - tv_status_not_compiled, tv_status_no_equilibrium: the table hangs on results that are not there
 * - tv_status_no_value: the table hangs on a real-valued function node without a model
 * - tv_status_overflow: the table hangs on the mean or variance of a continuous node, which is no finite
 *   number
 * - tv_status_no_memory: also when the numbers of the table would exceed the memory limit
 *   (tv_domain_set_memory_limit)
 * - tv_status_io: the log could not be written
 * - tv_status_error: the progress handler asked to stop
 */
TV_API tv_status_t tv_node_generate_table(tv_node_t* node);

/**
 * Generates the tables of all nodes with models that have changed, in the order of the domain's nodes, and
 * stops at the first failure.
 *
 * Compiling and propagating do this by themselves. What is done, and what is wrong, is written to the
 * domain's log. Tables that were generated before the failure stay; the one that failed is left as it was.
 *
 * @param domain  the domain
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_invalid_expression: an expression is missing or does not suit its node, or gives a value that
 *   is none of its states
 * - tv_status_invalid_state_values: of a node or a parent: they do not increase, or are infinite where they
 *   must not be
 * - tv_status_insufficient_state_range: the states of a node do not cover the distribution
 * - tv_status_inappropriate_arguments: of a function or a distribution
 * - tv_status_division_by_zero: in an expression
 * - tv_status_computation_failed: there is no finite number, or the state of a discrete parent of a function
 *   does not follow from the evidence
 * - tv_status_invalid_probability_potential: a probability would be negative
 * - tv_status_not_compiled, tv_status_no_equilibrium: a table hangs on results that are not there
 * - tv_status_no_value: a table hangs on a real-valued function node without a model
 * - tv_status_overflow: a table hangs on the mean or variance of a continuous node, which is no finite number
 * - tv_status_no_memory: also when the numbers of a table would exceed the memory limit
 *   (tv_domain_set_memory_limit)
 * - tv_status_io: the log could not be written
 * - tv_status_error: the progress handler asked to stop
 */
TV_API tv_status_t tv_domain_generate_tables(tv_domain_t* domain);

/** @} */

/**
 * @defgroup settings Threads, log and progress
 * Threads change the time an operation takes, never its result.
 * @{
 */

/**
 * Sets the least work that is worth a thread.
 *
 * @param domain  the domain; it keeps its grain size on failure
 * @param size    the work, in table entries
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: `size` is 0
 */
TV_API tv_status_t tv_domain_set_grain_size(tv_domain_t* domain, size_t size);

/**
 * Returns the least work that is worth a thread.
 *
 * @param domain  the domain
 * @return the work in table entries, 10000 until it is set; all ones on failure
 */
TV_API size_t tv_domain_get_grain_size(const tv_domain_t* domain);

/**
 * Sets how many threads may work on one operation of a domain, including the calling one.
 *
 * There are never more than the work deserves (the grain size), nor than the process has processors. All have
 * ended when the call returns.
 *
 * @param domain  the domain; it keeps its level on failure
 * @param level   the most threads; 1 for the calling one alone
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: `level` is 0
 */
TV_API tv_status_t tv_domain_set_concurrency_level(tv_domain_t* domain, size_t level);

/**
 * Returns how many threads may work on one operation of a domain, including the calling one.
 *
 * @param domain  the domain
 * @return the most threads, 1 until it is set; all ones on failure
 */
TV_API size_t tv_domain_get_concurrency_level(const tv_domain_t* domain);

/**
 * Sets how many threads may work on learning (tv_domain_learn_tables). What is learned does not depend on it.
 *
 * @param domain  the domain; it keeps its level on failure
 * @param level   the most threads; 1 for the calling one alone
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: `level` is 0
 */
TV_API tv_status_t tv_domain_set_em_concurrency_level(tv_domain_t* domain, size_t level);

/**
 * Returns how many threads may work on learning.
 *
 * @param domain  the domain
 * @return the most threads, 1 until it is set; all ones on failure
 */
TV_API size_t tv_domain_get_em_concurrency_level(const tv_domain_t* domain);

/**
 * Sets the stream to which a domain writes a trace of its compilation and the reports of its potentials and
 * first beliefs.
 *
 * The library writes and flushes, and never closes it. A failed write makes the operation at hand fail with
 * tv_status_io.
 *
 * @param domain  the domain
 * @param stream  the stream, which stays yours and must stay open while it is set; may be null, for no trace
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_domain_set_log_file(tv_domain_t* domain, FILE* stream);

/**
 * Sets a function that is called now and then, on the calling thread, during triangulation and propagation,
 * while tables are generated and while policies are updated.
 *
 * When it returns anything but 0, the operation stops, fails with tv_status_error and leaves the domain as
 * any other failure of that operation does; only the task "triangulation search" ends without a failure. It
 * must not call functions on the same domain, except those that only read names and numbers of nodes.
 *
 * @param domain        the domain
 * @param handler       the function; may be null, for none
 * @param handler_data  a pointer for the handler; may be null
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_domain_set_progress_handler(tv_domain_t* domain, tv_progress_handler_t handler,
                                                  void* handler_data);

/** @} */

/**
 * @defgroup compilation Compilation
 * From the network to the junction forest: parents of a common child are joined (the moral graph), fill-in
 * links make the graph triangulated, its cliques are arranged in trees, each potential is assigned to a
 * clique, and the tables are allocated and filled by a first propagation. (Lauritzen & Spiegelhalter 1988;
 * Jensen, Lauritzen & Olesen 1990.) Everything is written to the log, if there is one, step by step.
 * @{
 */

/**
 * Compiles a domain, so that beliefs can be read.
 *
 * It triangulates the domain with tv_method_best_greedy unless that has been done, generates the tables of
 * models, allocates the tables of cliques, and propagates once (sum equilibrium, normal mode) with the
 * evidence that is entered already.
 *
 * A domain that was triangulated before the call stays triangulated on failure; otherwise a failure leaves
 * nothing behind, with one exception: when the memory limit (tv_domain_set_memory_limit) forbids the tables,
 * the triangulation stays, also one that this call has made, so that you can look at it.
 *
 * @param domain  a domain with a discrete or continuous node that is not compiled
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the domain has no discrete or continuous node, or is compiled already
 * - tv_status_no_memory: the tables do not fit, or would exceed the memory limit
 * - tv_status_invalid_probability_potential: a table has a negative, infinite or NaN entry, or a distribution
 *   whose sum is zero or infinite
 * - tv_status_chain_graph: of nodes joined by undirected links, the product of the potentials sums to zero in
 *   some configuration of their parents
 * - tv_status_invalid_evidence: a decision has evidence other than a selected state, a chance node below an
 *   undecided decision has evidence, or a required selected state is missing
 * - tv_status_inconsistency_or_underflow: the entered evidence is impossible
 * - tv_status_low_density: the density of an entered value is no normal number
 * - tv_status_zero_variance: an entered value is certain already, given the other ones, in a configuration of
 *   positive probability, so that it has no density
 * - tv_status_overflow: likelihoods or unnormalised tables let a message grow beyond 3.40282e+38, or a model
 *   asks for a mean or variance that is no finite number
 * - tv_status_invalid_expression, tv_status_invalid_state_values, tv_status_insufficient_state_range,
 *   tv_status_inappropriate_arguments, tv_status_division_by_zero, tv_status_computation_failed,
 *   tv_status_no_value: the table of a node could not be generated from its model; tv_node_generate_table
 *   says when
 * - tv_status_io: the log could not be written
 * - tv_status_error: the progress handler asked to stop
 */
TV_API tv_status_t tv_domain_compile(tv_domain_t* domain);

/**
 * Throws away what triangulation and compilation made: cliques, trees, tables, beliefs, the elimination
 * order.
 *
 * Entered evidence stays. Nothing happens to a domain that has none of it; that is no failure.
 *
 * @param domain  the domain
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_domain_uncompile(tv_domain_t* domain);

/**
 * Tells whether a domain is compiled.
 *
 * @param domain  the domain
 * @return 1 or 0; -1 on failure
 */
TV_API int tv_domain_is_compiled(const tv_domain_t* domain);

/**
 * Tells whether a domain has a junction forest, with or without tables.
 *
 * @param domain  the domain
 * @return 1 or 0; -1 on failure
 */
TV_API int tv_domain_is_triangulated(const tv_domain_t* domain);

/**
 * Builds the junction forest with the method of your choice, without tables; tv_domain_compile does the rest.
 *
 * The graph is first split into its prime components, which meet in complete sets and are independent of each
 * other (Tarjan 1985; Leimer 1993); each is triangulated by itself, and superfluous fill-ins are removed
 * (Kjaerulff 1990). Continuous nodes are eliminated before discrete ones, which makes every root a strong one
 * (Leimer 1989; Lauritzen 1992). The result is the same on every machine.
 *
 * tv_method_total_weight finds a triangulation of least cost (tv_domain_get_jt_cost) from the minimal
 * separators of each prime component (Bouchitte & Todinca 2001; Berry, Bordat & Cogis 2000). There can be
 * exponentially many of them: tv_domain_set_max_number_of_separators, tv_domain_set_max_separator_size and
 * the memory limit (tv_domain_set_memory_limit) bound the search, and the progress handler can end it.
 *
 * @param domain  a domain with a discrete or continuous node that is not triangulated
 * @param method  how to choose the next node to eliminate
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the domain has no discrete or continuous node, or is triangulated already, or `method`
 *   is none of the six, or it is total_weight while a maximum separator size but no initial triangulation is
 *   set
 * - tv_status_io: the log could not be written
 * - tv_status_error: the progress handler asked to stop the task "triangulation"
 */
TV_API tv_status_t tv_domain_triangulate(tv_domain_t* domain, tv_triangulation_method_t method);

/**
 * Builds the junction forest with a given elimination order, without tables; tv_domain_compile does the rest.
 *
 * Nodes are eliminated in exactly this order; superfluous fill-ins are removed afterwards, and
 * tv_domain_get_elimination_order may then show another order with the same cliques.
 *
 * @param domain  a domain with a discrete or continuous node that is not triangulated
 * @param order   every discrete and continuous node exactly once, the continuous ones first; the first is
 *                eliminated first
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the domain has no discrete or continuous node, or is triangulated already
 * - tv_status_enumeration: the order holds a node of another domain, a utility or real-valued function node,
 *   a node twice, a continuous node after a discrete one, or not all nodes
 * - tv_status_io: the log could not be written
 * - tv_status_error: the progress handler asked to stop
 */
TV_API tv_status_t tv_domain_triangulate_with_order(tv_domain_t* domain, tv_node_t** order);

/**
 * Stores an elimination order as the starting point of tv_method_total_weight: only what is cheaper than its
 * triangulation is looked for. Without one, the best greedy triangulation is the starting point.
 *
 * It is dropped by any change of structure.
 *
 * @param domain  the domain; it keeps its order on failure
 * @param order   every discrete and continuous node exactly once, the continuous ones first; copied; may be
 *                null, for none
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_enumeration: the order holds a node of another domain, a utility or real-valued function node,
 *   a node twice, a continuous node after a discrete one, or not all nodes
 */
TV_API tv_status_t tv_domain_set_initial_triangulation(tv_domain_t* domain, tv_node_t** order);

/**
 * Returns the elimination order of the present triangulation.
 *
 * It is derived from the cliques: eliminating in this order gives exactly them, but a user's order may come
 * back changed.
 *
 * @param domain  a triangulated domain
 * @return the list, first eliminated first, owned by the domain until it is uncompiled; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: the domain is not triangulated
 */
TV_API tv_node_t** tv_domain_get_elimination_order(tv_domain_t* domain);

/**
 * Limits how many minimal separators tv_method_total_weight looks at.
 *
 * A prime component that has more of them is split by one of those found, and its parts are triangulated by
 * themselves, in the same way; the result is then not proven to be the cheapest one. Clones have the limit,
 * too.
 *
 * @param domain  the domain
 * @param count   the most separators of a component or of a part of one; 0, the default, for no limit
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_domain_set_max_number_of_separators(tv_domain_t* domain, size_t count);

/**
 * Returns the limit of how many minimal separators tv_method_total_weight looks at.
 *
 * @param domain  the domain
 * @return the most separators, 0 (no limit) until it is set; all ones on failure
 */
TV_API size_t tv_domain_get_max_number_of_separators(const tv_domain_t* domain);

/**
 * Limits how many members the separators have from which tv_method_total_weight finds others.
 *
 * Larger ones are used where they are found, but nothing is derived from them, so that there are fewer. While
 * the limit is set, that method needs an initial triangulation (tv_domain_set_initial_triangulation), whose
 * separators it looks at in any case. Clones have the limit, too.
 *
 * @param domain  the domain
 * @param size    the most members; 0 for no limit
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_domain_set_max_separator_size(tv_domain_t* domain, size_t size);

/**
 * Returns the limit of how many members the separators have from which tv_method_total_weight finds others.
 *
 * @param domain  the domain
 * @return the most members, 0 (no limit) until it is set; all ones on failure
 */
TV_API size_t tv_domain_get_max_separator_size(const tv_domain_t* domain);

/** For tv_domain_set_triangulation_effort: as much work as a propagation of what is found takes. */
#define TV_EFFORT_AUTO ((size_t)-2)

/**
 * Sets how much work triangulation spends on looking for something cheaper than the greedy methods find.
 *
 * With tv_method_best_greedy, which tv_domain_compile uses, and with tv_method_total_weight, the best greedy
 * triangulation of a prime component is then improved by a local search: regions of it are triangulated anew
 * at the least cost, again and again. With tv_method_total_weight the result is the starting point of the
 * exact search, and stays where that had to be given up. The result is never costlier than without the
 * search, and the same on every machine and for every number of threads. The progress handler hears of the
 * task "triangulation search" and can end it: then the best triangulation so far is used. Clones have the
 * setting, too.
 *
 * @param domain  the domain
 * @param effort  units of work for all prime components together, each about 5 milliseconds of today's
 *                processors; 0, the default, for no search; TV_EFFORT_AUTO for about as much time as one
 *                propagation of the greedy triangulation would take, which small networks do not notice, and
 *                at most 200 units
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_domain_set_triangulation_effort(tv_domain_t* domain, size_t effort);

/**
 * Returns how much work triangulation spends on looking for something cheaper than the greedy methods find.
 *
 * @param domain  the domain
 * @return the units of work, 0 until it is set; all ones on failure
 */
TV_API size_t tv_domain_get_triangulation_effort(const tv_domain_t* domain);

/**
 * Returns how many prime components the moral graph of a triangulated domain has. They are triangulated
 * independently of each other, so that the cost of the triangulation is the sum of theirs.
 *
 * @param domain  a triangulated domain
 * @return the number; all ones on failure
 *
 * @par Failures
 * - tv_status_usage: the domain is not triangulated
 * - tv_status_error: the progress handler asked to stop
 */
TV_API size_t tv_domain_get_number_of_prime_components(tv_domain_t* domain);

/**
 * Returns the nodes of a prime component.
 *
 * @param domain  a triangulated domain
 * @param index   which one: 0 to tv_domain_get_number_of_prime_components - 1, in the order of the log
 * @return the list in the domain's node order, null-terminated, owned by the domain until it is uncompiled;
 *         NULL on failure
 *
 * @par Failures
 * - tv_status_usage: the domain is not triangulated, or there is no such component
 * - tv_status_error: the progress handler asked to stop
 */
TV_API tv_node_t** tv_domain_get_prime_component(tv_domain_t* domain, size_t index);

/**
 * Returns the cost of the triangulation of a prime component: the sum of its cliques' table sizes, with the
 * numbers for continuous members.
 *
 * @param domain  a triangulated domain
 * @param index   which one: 0 to tv_domain_get_number_of_prime_components - 1
 * @return the cost, in numbers; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: the domain is not triangulated, or there is no such component
 * - tv_status_error: the progress handler asked to stop
 */
TV_API double tv_domain_get_prime_component_cost(tv_domain_t* domain, size_t index);

/**
 * Returns a cost that no triangulation of a prime component goes below: the least one where the present
 * triangulation is proven to have it, or where the component has few minimal separators; otherwise a weight
 * that the heaviest clique of every triangulation reaches, which can be far below it. (The greatest weight,
 * while vertices are contracted, of the lightest vertex together with its neighbours: Bodlaender & Koster
 * 2011.)
 *
 * @param domain  a triangulated domain
 * @param index   which one: 0 to tv_domain_get_number_of_prime_components - 1
 * @return the bound, in numbers; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: the domain is not triangulated, or there is no such component
 * - tv_status_error: the progress handler asked to stop
 */
TV_API double tv_domain_get_prime_component_bound(tv_domain_t* domain, size_t index);

/**
 * Returns the cost of the present triangulation: the sum over all cliques of the size of the clique's table,
 * with the numbers for continuous members.
 *
 * @param domain  a triangulated domain
 * @return the cost, in numbers; all ones on failure
 *
 * @par Failures
 * - tv_status_usage: the domain is not triangulated
 * - tv_status_size_too_large: it does not fit into a size_t
 */
TV_API size_t tv_domain_get_jt_cost(tv_domain_t* domain);

/**
 * Returns how much memory tv_domain_compile will allocate for the present triangulation. Nothing is allocated
 * to find out.
 *
 * Counted are tables of cliques and separators, or what is kept in their place, plans, beliefs. Not counted
 * are the network and its triangulation, which are there already, and what later calls may ask for: clique
 * tables that you read, tv_domain_save_to_memory, joint marginals, plans kept for questions that are asked
 * again (at most a quarter of the tables or a megabyte in all trees together, and done without where memory
 * is short), working memory of threads. Large cliques are kept without a table where that can be done; they
 * get theirs for fast retraction, for tv_domain_save_to_memory, and where a product of potentials and
 * messages nearly vanishes.
 *
 * @param domain  a triangulated domain
 * @return the need in bytes; all ones on failure
 *
 * @par Failures
 * - tv_status_usage: the domain is not triangulated
 * - tv_status_size_too_large: it does not fit into a size_t
 */
TV_API size_t tv_domain_get_memory_need(tv_domain_t* domain);

/**
 * Limits the memory of compilation and of tables. Clones have the limit, too.
 *
 * tv_domain_compile computes the need (tv_domain_get_memory_need) before it allocates any of it, and where it
 * exceeds the limit fails with tv_status_no_memory; the domain is then triangulated. A compiled domain stays
 * as it is. The limit also holds for the numbers of the domain's tables, and those that it has given you,
 * together with what compilation holds: what would make more of them (tv_table_get_data, a model, another
 * parent, a marginal) fails with tv_status_no_memory; tv_table_get_size tells beforehand.
 *
 * @param domain  the domain
 * @param bytes   the limit in bytes; 0, the default, for none
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_domain_set_memory_limit(tv_domain_t* domain, size_t bytes);

/**
 * Returns the limit of the memory of compilation and of tables.
 *
 * @param domain  the domain
 * @return the limit in bytes, 0 (none) until it is set; all ones on failure
 */
TV_API size_t tv_domain_get_memory_limit(const tv_domain_t* domain);

/**
 * Names discrete nodes that must each have a selected state before any propagation; without one, it fails
 * with tv_status_invalid_evidence.
 *
 * The tables are then built for the selected states, and rebuilt when those change.
 *
 * @param domain  the domain; it keeps its list on failure
 * @param nodes   discrete nodes of the domain, none of them twice; copied; may be null: nothing is required
 *                then
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: a node belongs to another domain, is not discrete, or stands in the list twice
 * - tv_status_compressed: the domain is compressed (tv_domain_compress)
 */
TV_API tv_status_t tv_domain_set_ijt_nodes(tv_domain_t* domain, tv_node_t** nodes);

/**
 * Keeps a copy in memory of the junction tree tables without evidence, so that each later reset (see
 * tv_domain_propagate) is a copy instead of a computation.
 *
 * It costs as much memory again as the tables. Trees that are in sum equilibrium without evidence are copied
 * at once, others at their next reset; touching a table makes a new copy necessary, which the next reset
 * makes. Uncompiling forgets the wish.
 *
 * @param domain  a compiled domain
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_error: the progress handler asked to stop
 */
TV_API tv_status_t tv_domain_save_to_memory(tv_domain_t* domain);

/**
 * Gives up the copy of tv_domain_save_to_memory and frees its memory. It is no failure if there is none.
 *
 * @param domain  a compiled domain
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 */
TV_API tv_status_t tv_domain_reclaim_memory_tables(tv_domain_t* domain);

/** @} */

/**
 * @defgroup forest Cliques and junction trees
 * Queries over what triangulation built. The handles and lists live until the domain is uncompiled.
 * @{
 */

/**
 * Returns the first clique of the domain's list, from which tv_clique_get_next goes on.
 *
 * Parents stand before their children, so the root of each tree comes before the rest of the tree.
 *
 * @param domain  a triangulated domain
 * @return the clique, owned by the domain until it is uncompiled; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: the domain is not triangulated
 */
TV_API tv_clique_t* tv_domain_get_first_clique(const tv_domain_t* domain);

/**
 * Returns the next clique of the domain's list.
 *
 * @param clique  a clique of the list
 * @return the clique behind it, owned by the domain until it is uncompiled; NULL with status none at the end
 *         of the list; NULL on failure
 */
TV_API tv_clique_t* tv_clique_get_next(const tv_clique_t* clique);

/**
 * Counts the cliques of a domain.
 *
 * @param domain  a triangulated domain
 * @return how many there are; all ones on failure
 *
 * @par Failures
 * - tv_status_usage: the domain is not triangulated
 */
TV_API size_t tv_domain_get_number_of_cliques(const tv_domain_t* domain);

/**
 * Lists the members of a clique, in the order of its table.
 *
 * @param clique  the clique
 * @return the list, owned by the clique; NULL on failure
 */
TV_API tv_node_t** tv_clique_get_members(tv_clique_t* clique);

/**
 * Counts the members of a clique.
 *
 * @param clique  the clique
 * @return how many there are; all ones on failure
 */
TV_API size_t tv_clique_get_number_of_members(const tv_clique_t* clique);

/**
 * Lists the neighbours of a clique in its tree, its parent (towards the root) first.
 *
 * @param clique  the clique
 * @return the list, owned by the clique; NULL on failure
 */
TV_API tv_clique_t** tv_clique_get_neighbors(tv_clique_t* clique);

/**
 * Counts the neighbours of a clique in its tree.
 *
 * @param clique  the clique
 * @return how many there are; all ones on failure
 */
TV_API size_t tv_clique_get_number_of_neighbors(tv_clique_t* clique);

/**
 * Returns the tree that a clique belongs to.
 *
 * @param clique  the clique
 * @return the tree, owned by the domain until it is uncompiled; NULL on failure
 */
TV_API tv_junction_tree_t* tv_clique_get_junction_tree(const tv_clique_t* clique);

/**
 * Returns the table of a clique.
 *
 * After a sum propagation its data are the joint probability of the members and the evidence divided by a
 * constant; the root's sum to one. Beliefs do not need these tables: where a propagation has done without,
 * the first call of tv_table_get_data forms them, which may take as long as the propagation, and may fail,
 * returning NULL, with tv_status_no_memory, tv_status_overflow (likelihoods or unnormalised tables let an
 * entry grow beyond 3.40282e+38), tv_status_error (the progress handler asked to stop) or
 * tv_status_no_equilibrium (the numbers of a node's table were changed after the propagation, through a
 * pointer from before it).
 *
 * @param clique  the clique
 * @return the table, owned by the clique; NULL on failure
 */
TV_API tv_table_t* tv_clique_get_probability_table(const tv_clique_t* clique);

/**
 * Returns the table of expected utilities of a clique.
 *
 * For each configuration of the members its data are the expected sum of all utilities of the tree, given the
 * configuration and the evidence; 0 where that is impossible. Like all results they are those of the last
 * propagation, whatever is entered or changed since. After a reset, before the next propagation, they are the
 * sum of the utilities that are assigned to the clique. tv_table_get_data may fail, returning NULL, with
 * tv_status_no_memory or tv_status_no_equilibrium (the numbers of a node's table were changed after the
 * propagation, through a pointer from before it).
 *
 * @param clique  the clique
 * @return the table, owned by the clique; NULL with status none in a domain without utility nodes; NULL on
 *         failure
 */
TV_API tv_table_t* tv_clique_get_utility_table(const tv_clique_t* clique);

/**
 * Returns the first junction tree of the domain's list, from which tv_jt_get_next goes on. The newest comes
 * first.
 *
 * @param domain  a triangulated domain
 * @return the tree, owned by the domain until it is uncompiled; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: the domain is not triangulated
 */
TV_API tv_junction_tree_t* tv_domain_get_first_junction_tree(const tv_domain_t* domain);

/**
 * Returns the next junction tree of the domain's list.
 *
 * @param jt  a tree of the list
 * @return the tree behind it, owned by the domain until it is uncompiled; NULL with status none at the end of
 *         the list; NULL on failure
 */
TV_API tv_junction_tree_t* tv_jt_get_next(const tv_junction_tree_t* jt);

/**
 * Returns the root of a tree: the clique that compilation began the tree with.
 *
 * @param jt  the tree
 * @return the clique, owned by the domain until it is uncompiled; NULL on failure
 */
TV_API tv_clique_t* tv_jt_get_root(const tv_junction_tree_t* jt);

/**
 * Lists the cliques of a tree, the root first.
 *
 * @param jt  the tree
 * @return the list, owned by the tree; NULL on failure
 */
TV_API tv_clique_t** tv_jt_get_cliques(tv_junction_tree_t* jt);

/**
 * Returns how many discrete table entries a tree has, over all cliques and separators; twice that in a domain
 * with utility nodes.
 *
 * @param jt  the tree
 * @return the number of entries; all ones on failure
 *
 * @par Failures
 * - tv_status_size_too_large: it does not fit into a size_t
 */
TV_API size_t tv_jt_get_total_size(tv_junction_tree_t* jt);

/**
 * Returns how many numbers describe the continuous nodes of a tree, over all cliques and separators.
 *
 * @param jt  the tree
 * @return the number of numbers; all ones on failure
 *
 * @par Failures
 * - tv_status_size_too_large: it does not fit into a size_t
 */
TV_API size_t tv_jt_get_total_cg_size(tv_junction_tree_t* jt);

/**
 * Returns the tree that a node belongs to; for a utility node, the tree of the clique that its potential went
 * to.
 *
 * @param node  a node of a triangulated domain that is no real-valued function
 * @return the tree, owned by the domain until it is uncompiled; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: the node is a real-valued function, or the domain is not triangulated
 */
TV_API tv_junction_tree_t* tv_node_get_junction_tree(const tv_node_t* node);

/**
 * Lists the neighbours of a node in the moral graph: parents, children, other parents of its children, and,
 * with continuous nodes, necessary fill-ins; each once.
 *
 * @param node  a discrete or continuous node of a triangulated domain
 * @return the list, owned by the node until the domain is uncompiled; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: the node is neither discrete nor continuous, or the domain is not triangulated
 */
TV_API tv_node_t** tv_node_get_moral_neighbors(const tv_node_t* node);

/** @} */

/**
 * @defgroup evidence Evidence
 * A node keeps two copies of its evidence: the *entered* one, changed by the functions of this group, and the
 * *propagated* one, which the present beliefs reflect. Propagation makes them equal. Evidence may be entered
 * before or after compilation.
 *
 * Evidence on a discrete node is a *finding* for each state, a number f(s) that says how well the state
 * agrees with what has been seen; the distribution is multiplied by it. One 1 and the rest 0 is *hard
 * evidence* (the state is known); several 1 and the rest 0 leave several states possible; anything else is a
 * *likelihood*; all 1 is no evidence; all 0 is impossible and makes propagation fail. Only the ratios of
 * findings matter for beliefs; their scale goes into the normalisation constant.
 * @{
 */

/**
 * Enters hard evidence: the node is known to be in this state. Replaces what was entered.
 *
 * @param node   a discrete node
 * @param state  the state, below the number of states
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the node is not discrete, or `state` is not below its number of states
 */
TV_API tv_status_t tv_node_select_state(tv_node_t* node, size_t state);

/**
 * Sets the finding of one state and keeps those of the others (all 1 where nothing was entered; 1 and 0s
 * where a state was selected).
 *
 * If one 1 and otherwise 0s result, the state is selected; if all are 1, nothing is entered any more.
 *
 * @param node   a discrete node
 * @param state  the state, below the number of states
 * @param value  the finding, not negative; values above 1 are allowed
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the node is not discrete, `state` is out of range, or `value` is negative, NaN, or not
 *   below the largest single-precision number, 3.4028235e+38
 */
TV_API tv_status_t tv_node_enter_finding(tv_node_t* node, size_t state, tv_number_t value);

/**
 * Enters the observed value of a continuous node. Replaces what was entered.
 *
 * @param node   a continuous node
 * @param value  the value, in the unit of the node's values, finite
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the node is not continuous, or `value` is NaN or infinite
 */
TV_API tv_status_t tv_node_enter_value(tv_node_t* node, double value);

/**
 * Takes back what was entered on a node, if anything.
 *
 * @param node  a discrete or continuous node
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the node is neither discrete nor continuous
 */
TV_API tv_status_t tv_node_retract_findings(tv_node_t* node);

/**
 * Takes back what was entered on any node of a domain.
 *
 * @param domain  the domain
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_domain_retract_findings(tv_domain_t* domain);

/** @} */

/**
 * @defgroup evidence_queries Evidence queries
 * About entered evidence, these need no compiled domain. About propagated evidence, they need a compiled
 * domain and, about a node, a valid result in its tree; the argument (usage) is checked first.
 * @{
 */

/**
 * Says what is entered on a discrete node.
 *
 * @param node  a discrete node
 * @return the state, when one is selected; -1 with status none for nothing; -2 for anything else (a
 *         likelihood, several possible states, or none possible), to be read with
 *         tv_node_get_entered_finding; -1 on failure
 *
 * @par Failures
 * - tv_status_usage: the node is not discrete
 */
TV_API ptrdiff_t tv_node_get_selected_state(const tv_node_t* node);

/**
 * Returns the finding that is entered for one state of a discrete node.
 *
 * @param node   a discrete node
 * @param state  the state, below the number of states
 * @return the finding: 1 for every state where nothing is entered; 1 and 0s for a selected state; -1.0 on
 *         failure
 *
 * @par Failures
 * - tv_status_usage: the node is not discrete, or `state` is not below its number of states
 */
TV_API tv_number_t tv_node_get_entered_finding(const tv_node_t* node, size_t state);

/**
 * Returns the finding that the present beliefs reflect, for one state of a discrete node.
 *
 * @param node   a discrete node
 * @param state  the state, below the number of states
 * @return the finding: 1 for every state where nothing is propagated; 1 and 0s for a state; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: the node is not discrete, or `state` is not below its number of states
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: the node's tree holds no valid result
 */
TV_API tv_number_t tv_node_get_propagated_finding(const tv_node_t* node, size_t state);

/**
 * Says what the present beliefs reflect for a discrete node.
 *
 * @param node  a discrete node
 * @return the state, when one was selected; -1 with status none for nothing; -2 for anything else (a
 *         likelihood, several possible states, or none possible), to be read with
 *         tv_node_get_propagated_finding; -1 on failure
 *
 * @par Failures
 * - tv_status_usage: the node is not discrete
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: the node's tree holds no valid result
 */
TV_API ptrdiff_t tv_node_get_propagated_state(const tv_node_t* node);

/**
 * Returns the value that is entered on a continuous node.
 *
 * @param node  a continuous node
 * @return the value; -1.0 on failure (which may also be an answer; see tv_error_code)
 *
 * @par Failures
 * - tv_status_usage: the node is not continuous
 * - tv_status_no_value: none is entered
 */
TV_API double tv_node_get_entered_value(const tv_node_t* node);

/**
 * Returns the value of a continuous node that the present results reflect.
 *
 * @param node  a continuous node
 * @return the value; -1.0 on failure (which may also be an answer; see tv_error_code)
 *
 * @par Failures
 * - tv_status_usage: the node is not continuous
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: the node's tree holds no valid result
 * - tv_status_no_value: none is propagated
 */
TV_API double tv_node_get_propagated_value(const tv_node_t* node);

/**
 * Tells whether any evidence is entered on a node.
 *
 * @param node  a discrete or continuous node
 * @return 1 or 0; -1 on failure
 *
 * @par Failures
 * - tv_status_usage: the node is neither discrete nor continuous
 */
TV_API int tv_node_evidence_is_entered(const tv_node_t* node);

/**
 * Tells whether a likelihood is entered on a node: some finding that is neither 0 nor 1.
 *
 * @param node  a discrete or continuous node
 * @return 1 or 0, for a continuous node 0; -1 on failure
 *
 * @par Failures
 * - tv_status_usage: the node is neither discrete nor continuous
 */
TV_API int tv_node_likelihood_is_entered(const tv_node_t* node);

/**
 * Tells whether the present results reflect evidence on a node.
 *
 * @param node  a discrete or continuous node
 * @return 1 or 0; -1 on failure
 *
 * @par Failures
 * - tv_status_usage: the node is neither discrete nor continuous
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: the node's tree holds no valid result
 */
TV_API int tv_node_evidence_is_propagated(const tv_node_t* node);

/**
 * Tells whether the present results reflect a likelihood on a node: some finding that is neither 0 nor 1.
 *
 * @param node  a discrete or continuous node
 * @return 1 or 0, for a continuous node 0; -1 on failure
 *
 * @par Failures
 * - tv_status_usage: the node is neither discrete nor continuous
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: the node's tree holds no valid result
 */
TV_API int tv_node_likelihood_is_propagated(const tv_node_t* node);

/**
 * Tells whether the entered evidence on a node differs from the propagated one, so that propagating would
 * change something.
 *
 * Selecting the only state of a one-state node is no difference.
 *
 * @param node  a discrete or continuous node
 * @return 1 or 0; -1 on failure
 *
 * @par Failures
 * - tv_status_usage: the node is neither discrete nor continuous
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: the node's tree holds no valid result
 */
TV_API int tv_node_evidence_to_propagate(const tv_node_t* node);

/**
 * Tells whether the evidence on any node of a domain is yet to be propagated, or the required selected states
 * (tv_domain_set_ijt_nodes) have changed.
 *
 * @param domain  a compiled domain
 * @return 1 or 0; -1 on failure
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 */
TV_API int tv_domain_evidence_to_propagate(const tv_domain_t* domain);

/**
 * Tells whether the present results of a domain reflect any evidence.
 *
 * @param domain  a compiled domain
 * @return 1 or 0; -1 on failure
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 */
TV_API int tv_domain_evidence_is_propagated(const tv_domain_t* domain);

/**
 * Tells whether the present results of a domain reflect any likelihood.
 *
 * @param domain  a compiled domain
 * @return 1 or 0; -1 on failure
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 */
TV_API int tv_domain_likelihood_is_propagated(const tv_domain_t* domain);

/**
 * Tells whether the present results of a domain reflect evidence on any continuous node.
 *
 * @param domain  a compiled domain
 * @return 1 or 0; -1 on failure
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 */
TV_API int tv_domain_cg_evidence_is_propagated(const tv_domain_t* domain);

/**
 * Tells whether the evidence on any node of a tree is yet to be propagated, or the required selected states
 * in it (tv_domain_set_ijt_nodes) have changed.
 *
 * @param jt  a tree of a compiled domain
 * @return 1 or 0; -1 on failure
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 */
TV_API int tv_jt_evidence_to_propagate(const tv_junction_tree_t* jt);

/**
 * Tells whether the present results of a tree reflect any evidence.
 *
 * @param jt  a tree of a compiled domain
 * @return 1 or 0; -1 on failure
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 */
TV_API int tv_jt_evidence_is_propagated(const tv_junction_tree_t* jt);

/**
 * Tells whether the present results of a tree reflect any likelihood.
 *
 * @param jt  a tree of a compiled domain
 * @return 1 or 0; -1 on failure
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 */
TV_API int tv_jt_likelihood_is_propagated(const tv_junction_tree_t* jt);

/**
 * Tells whether the present results of a tree reflect evidence on any continuous node.
 *
 * @param jt  a tree of a compiled domain
 * @return 1 or 0; -1 on failure
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 */
TV_API int tv_jt_cg_evidence_is_propagated(const tv_junction_tree_t* jt);

/** @} */

/**
 * @defgroup propagation Propagation
 * Messages are collected towards one clique of each tree and distributed back (Jensen, Lauritzen & Olesen
 * 1990). Where possible only what has changed is worked on. When evidence is taken back or contradicts what
 * is in the tables, the tree is first *reset*: its tables are filled again from the potentials. Continuous
 * nodes are propagated as regressions, one node at a time (Cowell 2005).
 * @{
 */

/**
 * Brings all junction trees into agreement with the entered evidence, so that results can be read. When there
 * is nothing to do, it returns at once.
 *
 * On a failure of those that are checked first, nothing changes. On any later one the trees are reset: no
 * evidence is propagated, results cannot be read (no_equilibrium) until a propagation succeeds, and the
 * entered evidence is still there to be corrected. Trees with continuous nodes, unless the progress handler
 * asked to stop or memory ran out, and trees whose initial tables are kept in memory
 * (tv_domain_save_to_memory) answer without evidence instead.
 *
 * @param domain       a compiled domain
 * @param equilibrium  what the tables shall hold: tv_equilibrium_sum or tv_equilibrium_max
 * @param mode         how evidence counts
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * The first three are checked first, in this order.
 * - tv_status_usage: `equilibrium` is neither sum nor max, or `mode` is none of the two; after not_compiled
 *   has been checked: anything but sum and normal in a domain with continuous nodes
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_compressed: fast retraction is asked for, and the domain is compressed (tv_domain_compress);
 *   also checked before anything else happens
 * - tv_status_invalid_evidence: a decision has evidence other than a selected state, a chance node below an
 *   undecided decision has evidence, or a required selected state is missing
 * - tv_status_invalid_probability_potential: a table that was touched has a negative, infinite or NaN entry
 *   or a distribution whose sum is zero or infinite
 * - tv_status_chain_graph: of nodes joined by undirected links, the product of the potentials sums to zero in
 *   some configuration of their parents
 * - tv_status_inconsistency_or_underflow: the evidence is impossible, however small the probability of
 *   possible evidence may be
 * - tv_status_low_density: the density of an observed value is no normal number
 * - tv_status_zero_variance: an observed value was certain already, given the other ones, in a configuration
 *   of positive probability, so that it has no density
 * - tv_status_overflow: likelihoods or unnormalised tables let a message grow beyond 3.40282e+38, or a model
 *   asks for a mean or variance that is no finite number
 * - tv_status_fast_retraction: zeros in the distributions defeat that mode
 * - tv_status_normalization: in fast-retraction mode, what is entered on all nodes but one is impossible, so
 *   that this one has no belief
 * - tv_status_invalid_expression, tv_status_invalid_state_values, tv_status_insufficient_state_range,
 *   tv_status_inappropriate_arguments, tv_status_division_by_zero, tv_status_computation_failed,
 *   tv_status_no_value, tv_status_no_equilibrium: the table of a node could not be generated from its model;
 *   tv_node_generate_table says when
 * - tv_status_io: the log could not be written while a table was generated
 * - tv_status_error: the progress handler asked to stop
 */
TV_API tv_status_t tv_domain_propagate(tv_domain_t* domain, tv_equilibrium_t equilibrium,
                                       tv_evidence_mode_t mode);

/**
 * Brings one junction tree into agreement with the evidence that is entered on its nodes, so that its results
 * can be read. When there is nothing to do, it returns at once.
 *
 * On a failure of those that are checked first, nothing changes. On any later one this tree is reset: no
 * evidence is propagated in it, its results cannot be read (no_equilibrium) until a propagation succeeds, and
 * the entered evidence is still there to be corrected. A tree with continuous nodes, unless the progress
 * handler asked to stop or memory ran out, and one whose initial tables are kept in memory
 * (tv_domain_save_to_memory) answers without evidence instead.
 *
 * @param jt           a tree of a compiled domain
 * @param equilibrium  what the tables shall hold: tv_equilibrium_sum or tv_equilibrium_max
 * @param mode         how evidence counts
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * The first three are checked first, in this order.
 * - tv_status_usage: `equilibrium` is neither sum nor max, or `mode` is none of the two; after not_compiled
 *   has been checked: anything but sum and normal in a tree with continuous nodes
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_invalid_evidence: in the tree, a decision has evidence other than a selected state, or a chance
 *   node below an undecided decision has evidence; or in the domain a required selected state is missing
 * - tv_status_invalid_probability_potential: a table that was touched has a negative, infinite or NaN entry
 *   or a distribution whose sum is zero or infinite
 * - tv_status_chain_graph: of nodes joined by undirected links, the product of the potentials sums to zero in
 *   some configuration of their parents
 * - tv_status_inconsistency_or_underflow: the evidence is impossible, however small the probability of
 *   possible evidence may be
 * - tv_status_low_density: the density of an observed value is no normal number
 * - tv_status_zero_variance: an observed value was certain already, given the other ones, in a configuration
 *   of positive probability, so that it has no density
 * - tv_status_overflow: likelihoods or unnormalised tables let a message grow beyond 3.40282e+38, or a model
 *   asks for a mean or variance that is no finite number
 * - tv_status_fast_retraction, tv_status_compressed: zeros defeat that mode, or the domain is compressed
 * - tv_status_normalization: in fast-retraction mode, what is entered on all nodes but one is impossible, so
 *   that this one has no belief
 * - tv_status_invalid_expression, tv_status_invalid_state_values, tv_status_insufficient_state_range,
 *   tv_status_inappropriate_arguments, tv_status_division_by_zero, tv_status_computation_failed,
 *   tv_status_no_value, tv_status_no_equilibrium: the table of a node could not be generated from its model;
 *   tv_node_generate_table says when
 * - tv_status_io: the log could not be written while a table was generated
 * - tv_status_error: the progress handler asked to stop
 */
TV_API tv_status_t tv_jt_propagate(tv_junction_tree_t* jt, tv_equilibrium_t equilibrium,
                                   tv_evidence_mode_t mode);

/**
 * Brings the junction tree of a clique into agreement with the evidence that is entered on its nodes, with
 * this clique as the root of the messages. When there is nothing to do, it returns at once.
 *
 * The results do not depend on the root, up to rounding; the root's table sums to one. On a failure of those
 * that are checked first, nothing changes. On any later one this tree is reset: no evidence is propagated in
 * it, its results cannot be read (no_equilibrium) until a propagation succeeds, and the entered evidence is
 * still there to be corrected. A tree with continuous nodes, unless the progress handler asked to stop or
 * memory ran out, and one whose initial tables are kept in memory (tv_domain_save_to_memory) answers without
 * evidence instead.
 *
 * @param clique       a clique of a compiled domain
 * @param equilibrium  what the tables shall hold: tv_equilibrium_sum or tv_equilibrium_max
 * @param mode         how evidence counts
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * The first three are checked first, in this order.
 * - tv_status_usage: `equilibrium` is neither sum nor max, or `mode` is none of the two; after not_compiled
 *   has been checked: anything but sum and normal in a tree with continuous nodes
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_invalid_evidence: in the tree, a decision has evidence other than a selected state, or a chance
 *   node below an undecided decision has evidence; or in the domain a required selected state is missing
 * - tv_status_invalid_probability_potential: a table that was touched has a negative, infinite or NaN entry
 *   or a distribution whose sum is zero or infinite
 * - tv_status_chain_graph: of nodes joined by undirected links, the product of the potentials sums to zero in
 *   some configuration of their parents
 * - tv_status_inconsistency_or_underflow: the evidence is impossible, however small the probability of
 *   possible evidence may be
 * - tv_status_low_density: the density of an observed value is no normal number
 * - tv_status_zero_variance: an observed value was certain already, given the other ones, in a configuration
 *   of positive probability, so that it has no density
 * - tv_status_overflow: likelihoods or unnormalised tables let a message grow beyond 3.40282e+38, or a model
 *   asks for a mean or variance that is no finite number
 * - tv_status_fast_retraction, tv_status_compressed: zeros defeat that mode, or the domain is compressed
 * - tv_status_normalization: in fast-retraction mode, what is entered on all nodes but one is impossible, so
 *   that this one has no belief
 * - tv_status_invalid_expression, tv_status_invalid_state_values, tv_status_insufficient_state_range,
 *   tv_status_inappropriate_arguments, tv_status_division_by_zero, tv_status_computation_failed,
 *   tv_status_no_value, tv_status_no_equilibrium: the table of a node could not be generated from its model;
 *   tv_node_generate_table says when
 * - tv_status_io: the log could not be written while a table was generated
 * - tv_status_error: the progress handler asked to stop
 */
TV_API tv_status_t tv_clique_propagate(tv_clique_t* clique, tv_equilibrium_t equilibrium,
                                       tv_evidence_mode_t mode);

/**
 * Tells whether every tree of a domain is in an equilibrium.
 *
 * @param domain       a compiled domain
 * @param equilibrium  the equilibrium; tv_equilibrium_none may be asked for too
 * @return 1 or 0; -1 on failure
 *
 * @par Failures
 * - tv_status_usage: `equilibrium` is not a member of the enumeration
 * - tv_status_not_compiled: the domain is not compiled
 */
TV_API int tv_domain_equilibrium_is(const tv_domain_t* domain, tv_equilibrium_t equilibrium);

/**
 * Tells whether a tree is in an equilibrium.
 *
 * @param jt           a tree of a compiled domain
 * @param equilibrium  the equilibrium; tv_equilibrium_none may be asked for too
 * @return 1 or 0; -1 on failure
 *
 * @par Failures
 * - tv_status_usage: `equilibrium` is not a member of the enumeration
 * - tv_status_not_compiled: the domain is not compiled
 */
TV_API int tv_jt_equilibrium_is(const tv_junction_tree_t* jt, tv_equilibrium_t equilibrium);

/**
 * Tells whether every tree of a domain was last propagated in a mode. Trees without propagated evidence agree
 * with any.
 *
 * @param domain  a compiled domain
 * @param mode    the mode
 * @return 1 or 0; -1 on failure
 *
 * @par Failures
 * - tv_status_usage: `mode` is not a member of the enumeration
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: some tree holds no valid result
 */
TV_API int tv_domain_evidence_mode_is(const tv_domain_t* domain, tv_evidence_mode_t mode);

/**
 * Tells whether a tree was last propagated in a mode. A tree without propagated evidence agrees with any.
 *
 * @param jt    a tree of a compiled domain
 * @param mode  the mode
 * @return 1 or 0; -1 on failure
 *
 * @par Failures
 * - tv_status_usage: `mode` is not a member of the enumeration
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: the tree holds no valid result
 */
TV_API int tv_jt_evidence_mode_is(const tv_junction_tree_t* jt, tv_evidence_mode_t mode);

/**
 * Fills all trees again from the potentials, without evidence, so with the policies of all decisions.
 *
 * The entered evidence stays entered and is taken in by the next propagation; until then there may be no
 * result to read (no_equilibrium). A failure in one tree does not keep the others from being reset; the first
 * one is reported.
 *
 * @param domain  a compiled domain
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_invalid_evidence: a required selected state is missing
 * - tv_status_invalid_probability_potential: a table that was touched has a negative, infinite or NaN entry
 *   or a distribution whose sum is zero or infinite
 * - tv_status_chain_graph: of nodes joined by undirected links, the product of the potentials sums to zero in
 *   some configuration of their parents
 * - tv_status_invalid_expression, tv_status_invalid_state_values, tv_status_insufficient_state_range,
 *   tv_status_inappropriate_arguments, tv_status_division_by_zero, tv_status_computation_failed: the table of
 *   a node could not be generated from its model; tv_node_generate_table says when
 * - tv_status_io: the log could not be written while a table was generated
 * - tv_status_inconsistency_or_underflow: the required states are impossible together; only where a tree is
 *   brought to equilibrium at once: one with continuous nodes, or one whose initial tables are kept in memory
 * - tv_status_error: the progress handler asked to stop; only where a table is generated, or a tree is
 *   brought to equilibrium at once
 */
TV_API tv_status_t tv_domain_reset_inference_engine(tv_domain_t* domain);

/**
 * Makes a fresh start: fills all trees again from the potentials, without evidence, and then takes back what
 * is entered on any node.
 *
 * On failure what is entered stays.
 *
 * @param domain  a compiled domain
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_invalid_evidence: a required selected state is missing
 * - tv_status_invalid_probability_potential: a table that was touched has a negative, infinite or NaN entry
 *   or a distribution whose sum is zero or infinite
 * - tv_status_chain_graph: of nodes joined by undirected links, the product of the potentials sums to zero in
 *   some configuration of their parents
 * - tv_status_invalid_expression, tv_status_invalid_state_values, tv_status_insufficient_state_range,
 *   tv_status_inappropriate_arguments, tv_status_division_by_zero, tv_status_computation_failed: the table of
 *   a node could not be generated from its model; tv_node_generate_table says when
 * - tv_status_io: the log could not be written while a table was generated
 * - tv_status_inconsistency_or_underflow: the required states are impossible together; only where a tree is
 *   brought to equilibrium at once: one with continuous nodes, or one whose initial tables are kept in memory
 * - tv_status_error: the progress handler asked to stop; only where a table is generated, or a tree is
 *   brought to equilibrium at once
 */
TV_API tv_status_t tv_domain_initialize(tv_domain_t* domain);

/**
 * Tells whether some table of a domain was touched since the trees were last filled.
 *
 * @param domain  a compiled domain
 * @return 1 or 0; -1 on failure
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 */
TV_API int tv_domain_tables_to_propagate(const tv_domain_t* domain);

/**
 * Tells whether some table that a tree is filled from was touched since the tree was last filled.
 *
 * @param jt  a tree of a compiled domain
 * @return 1 or 0; -1 on failure
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 */
TV_API int tv_jt_tables_to_propagate(const tv_junction_tree_t* jt);

/** @} */

/**
 * @defgroup evidence_probability Probability and conflict of the evidence
 * @{
 */

/**
 * Returns the normalisation constant of a domain: what the product of all potentials and findings sums to.
 *
 * After sum propagation in normal mode it is the probability of the evidence (with likelihoods: the
 * expectation of the product of the findings); 1 without evidence, up to rounding. After max propagation it
 * is the largest entry of that product. In fast-retraction mode it is the probability of the evidence on
 * nodes outside the root clique, and seldom of use. With several trees it is the product over them. With
 * values of continuous nodes it is the density of these values times the probability of the rest. It may be 0
 * by underflow for long evidence; tv_domain_get_log_normalization_constant has no such limit.
 *
 * @param domain  a compiled domain
 * @return the constant; -1.0 on failure
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: some tree holds no valid result
 */
TV_API double tv_domain_get_normalization_constant(const tv_domain_t* domain);

/**
 * Returns the natural logarithm of the normalisation constant (tv_domain_get_normalization_constant), kept as
 * a sum of logarithms, so that it does not underflow.
 *
 * @param domain  a compiled domain
 * @return the logarithm, in nats; -1.0 on failure (which may also be an answer; see tv_error_code)
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: some tree holds no valid result
 */
TV_API double tv_domain_get_log_normalization_constant(const tv_domain_t* domain);

/**
 * Returns the conflict of the evidence last propagated: P(e1) P(e2) ... P(en) / P(e1, ..., en).
 *
 * Above 1, the pieces disagree with each other as the model sees it; below 1 they support each other (Jensen
 * et al. 1991). The probabilities are those before this propagation: for all evidence at once after
 * compilation or in a fresh equilibrium it is the classical measure; when evidence is added later it measures
 * the addition, given what was there. It is 1 after a propagation that had to start from a reset, and with
 * one piece of evidence. In fast-retraction mode the evidence in the root clique is not compared with the
 * rest: use normal mode.
 *
 * @param domain  a compiled domain without decisions
 * @return the conflict, a ratio of probabilities, the product over the trees; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: the domain has decision nodes, or (checked after the next two) a tree is not in sum
 *   equilibrium
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: some tree holds no valid result
 * - tv_status_cg_evidence_incorporated: evidence on continuous nodes is propagated
 */
TV_API double tv_domain_get_conflict(const tv_domain_t* domain);

/**
 * Returns the conflict of the evidence last propagated within one tree: P(e1) P(e2) ... P(en) / P(e1, ...,
 * en), over the pieces in the tree.
 *
 * Above 1, the pieces disagree with each other as the model sees it; below 1 they support each other (Jensen
 * et al. 1991). The probabilities are those before this propagation. It is 1 after a propagation that had to
 * start from a reset, and with one piece of evidence. In fast-retraction mode the evidence in the root clique
 * is not compared with the rest: use normal mode.
 *
 * @param jt  a tree of a compiled domain without decisions
 * @return the conflict, a ratio of probabilities; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: the domain has decision nodes, or (checked after the next two) the tree is not in sum
 *   equilibrium
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: the tree holds no valid result
 * - tv_status_cg_evidence_incorporated: evidence on continuous nodes is propagated in the tree
 */
TV_API double tv_jt_get_conflict(const tv_junction_tree_t* jt);

/**
 * Returns the conflict gathered in one clique during the last propagation: of the evidence entered there and
 * of what reached it on the way to the root.
 *
 * It helps to find where a conflict comes from; it is 1 in cliques that took no part. Where numbers left the
 * range of single precision (docs/evidence-and-answers.md tells when), it is found when first asked for,
 * which takes about as long as collecting evidence; under fast retraction only the root has one then.
 *
 * @param clique  a clique of a compiled domain
 * @return the conflict, a ratio of probabilities; -1.0 on failure
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 */
TV_API double tv_clique_get_conflict(const tv_clique_t* clique);

/**
 * Returns the clique into which the evidence on a node was entered by the last propagation.
 *
 * @param node  a discrete or continuous node of a compiled domain
 * @return the clique, owned by the domain until it is uncompiled; NULL with status none when none was
 *         entered; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: the node is neither discrete nor continuous
 * - tv_status_not_compiled: the domain is not compiled
 */
TV_API tv_clique_t* tv_node_get_conflict_clique(const tv_node_t* node);

/** @} */

/**
 * @defgroup beliefs Beliefs and other results
 * All of these read what the last propagation left; none propagates. They check, in this order: the arguments
 * (usage), that the domain is compiled (not_compiled), and that the tree holds valid results
 * (no_equilibrium). Expected utilities have the unit that the host gave to the tables of utility nodes.
 * @{
 */

/**
 * Returns the belief of a state of a discrete node.
 *
 * Sum, normal: the probability of the state given all evidence. Sum, fast retraction: given all evidence but
 * the node's own. Max: the probability of the best configuration with this state, relative to the best of
 * all, so that the best states have 1. A node with hard evidence in normal mode answers exactly 1 and 0.
 *
 * @param node   a discrete node of a compiled domain
 * @param state  the state, below the number of states
 * @return the belief, 0 to 1; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: the node is not discrete, or `state` is not below its number of states
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: the node's tree holds no valid result
 */
TV_API tv_number_t tv_node_get_belief(const tv_node_t* node, size_t state);

/**
 * Returns the expected utility of a state of a discrete node, or that of a utility node.
 *
 * Of a state it is the expectation of the sum of all utilities of the node's tree, given the state, the
 * evidence and the policies of the decisions that are not made; 0 for an impossible state. Of a utility node
 * it is the expectation of its own utility. For chance, decision and utility nodes it does not depend on the
 * equilibrium. In fast-retraction mode a node's own evidence is left out for its states, but not for utility
 * nodes. It is 0 in a domain without utility nodes.
 *
 * @param node   a discrete node or a utility node of a compiled domain
 * @param state  the state, below the number of states; 0 for a utility node
 * @return the expected utility; -1.0 on failure (which may also be an answer; see tv_error_code)
 *
 * @par Failures
 * - tv_status_usage: `state` is out of range, or the node is neither discrete nor a utility node; or, checked
 *   last, the node is a function node, or there are no utility nodes, and the tree is not in sum equilibrium
 *   with normal mode or without evidence
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: the node's tree holds no valid result
 */
TV_API tv_number_t tv_node_get_expected_utility(const tv_node_t* node, size_t state);

/**
 * Returns the smallest number of a utility node's table, whatever the evidence.
 *
 * @param node  a utility node of a compiled domain
 * @return the smallest utility, 0 for a node without a table; -1.0 on failure (which may also be an answer;
 *         see tv_error_code)
 *
 * @par Failures
 * - tv_status_usage: not a utility node
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: the node's tree holds no valid result
 */
TV_API tv_number_t tv_node_get_min_utility(const tv_node_t* node);

/**
 * Returns the largest number of a utility node's table, whatever the evidence.
 *
 * @param node  a utility node of a compiled domain
 * @return the largest utility, 0 for a node without a table; -1.0 on failure (which may also be an answer;
 *         see tv_error_code)
 *
 * @par Failures
 * - tv_status_usage: not a utility node
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: the node's tree holds no valid result
 */
TV_API tv_number_t tv_node_get_max_utility(const tv_node_t* node);

/**
 * Returns the variance of a utility node given the evidence and the policies.
 *
 * @param node  a utility node of a compiled domain
 * @return the variance, in the square of the unit of utility; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: not a utility node
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: the node's tree holds no valid result
 */
TV_API double tv_node_get_variance_of_utility(const tv_node_t* node);

/**
 * Returns the expected utility of a domain given the evidence and the policies: the sum over its utility
 * nodes.
 *
 * @param domain  a compiled domain
 * @return the expected utility, 0 without any utility node; -1.0 on failure (which may also be an answer; see
 *         tv_error_code)
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: some tree holds no valid result
 * - tv_status_usage: there is no utility node, and the trees are not in sum equilibrium with normal mode or
 *   without evidence
 */
TV_API double tv_domain_get_expected_utility(const tv_domain_t* domain);

/**
 * Returns the value of a real-valued function node, computed from the results of its parents.
 *
 * In its expression a numbered node stands for its mean, a node with intervals for the mean of their middles,
 * a continuous node for its mean, a utility node for its expected utility, a function node for its value.
 * Labels, truth values and the states of model nodes must follow from the evidence. Every parent but a
 * real-valued function must have its value, also one that the expression does not mention.
 *
 * @param node  a real-valued function node of a compiled domain
 * @return the value; -1.0 on failure (which may also be an answer; see tv_error_code)
 *
 * @par Failures
 * - tv_status_usage: any other node
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: the tree of a parent holds no valid result, or is not in sum equilibrium with
 *   normal mode or without evidence
 * - tv_status_no_value: the node, or a function node that it hangs on, has no model
 * - tv_status_invalid_expression: an expression is missing or does not suit its node
 * - tv_status_computation_failed: a state does not follow from the evidence, or the result is no finite
 *   number
 * - tv_status_division_by_zero: in an expression
 * - tv_status_inappropriate_arguments: of a function in an expression
 * - tv_status_invalid_state_values: of a parent: they do not increase, or are infinite
 * - tv_status_overflow: the mean or variance of a continuous parent is no finite number
 */
TV_API double tv_node_get_value(tv_node_t* node);

/**
 * Returns the entropy of a discrete node's belief, H = - sum of p ln p: 0 when the state is certain, ln n
 * when n states are equally probable (Shannon 1948).
 *
 * @param node  a discrete node of a compiled domain
 * @return the entropy, in nats (divide by ln 2 for bits); -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: the node is not discrete; or, checked last, the tree is not in sum equilibrium with
 *   normal mode or without evidence
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: the node's tree holds no valid result
 */
TV_API double tv_node_get_entropy(const tv_node_t* node);

/**
 * Returns the mutual information of two discrete nodes given the evidence: the sum over both nodes' states of
 * p(a, b) ln( p(a, b) / (p(a) p(b)) ) (Shannon 1948).
 *
 * It tells how much can be expected to be learned about one node by observing the other. It is 0 for nodes of
 * different trees and when either has hard evidence.
 *
 * @param node1  a discrete node of a compiled domain
 * @param node2  a discrete node of the same domain; twice one node gives its entropy
 * @return the information, in nats (divide by ln 2 for bits), never negative; -1.0 on failure, but 9.0 with
 *         functional_dependency
 *
 * @par Failures
 * - tv_status_usage: the nodes are not both discrete or not of one domain; or, checked after the next two, a
 *   tree is not in sum equilibrium with normal mode or without evidence
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: the tree of a node holds no valid result, or the joint distribution rests on
 *   the numbers of a node's table that were changed after the propagation, through a pointer from before it
 * - tv_status_functional_dependency: function nodes tie different trees together; the result is 9.0 then
 * - tv_status_overflow: likelihoods or unnormalised tables let an entry of a clique's table grow beyond
 *   3.40282e+38
 * - tv_status_error: the progress handler asked to stop
 */
TV_API double tv_node_get_mutual_information(tv_node_t* node1, tv_node_t* node2);

/**
 * Returns the mean of a continuous node given the evidence.
 *
 * @param node  a continuous node of a compiled domain
 * @return the mean, in the unit of the node's values; -1.0 on failure (which may also be an answer; see
 *         tv_error_code)
 *
 * @par Failures
 * - tv_status_usage: the node is not continuous
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: the node's tree holds no valid result
 * - tv_status_overflow: it is no finite number
 */
TV_API double tv_node_get_mean(const tv_node_t* node);

/**
 * Returns the variance of a continuous node given the evidence.
 *
 * @param node  a continuous node of a compiled domain
 * @return the variance, in the square of the unit of the node's values, never negative; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: the node is not continuous
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: the node's tree holds no valid result
 * - tv_status_overflow: it, or the mean, is no finite number
 */
TV_API double tv_node_get_variance(const tv_node_t* node);

/**
 * Returns the exact distribution of a continuous node given the evidence: a mixture of normal distributions
 * over the configurations of those discrete nodes that it depends on here.
 *
 * It is a table over these nodes and the node; its data are the weights, and tv_table_get_mean and
 * tv_table_get_variance tell the components.
 *
 * @param node  a continuous node of a compiled domain
 * @return the table: free it with tv_table_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: the node is not continuous
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: the node's tree holds no valid result
 * - tv_status_overflow: a mean or variance is no finite number
 * - tv_status_no_memory: also when the table would exceed the memory limit (tv_domain_set_memory_limit)
 */
TV_API tv_table_t* tv_node_get_distribution(tv_node_t* node);

/**
 * Returns the value below which a continuous node lies with a given probability, given the evidence: the
 * median for 0.5.
 *
 * Where a single value has a positive probability, it is the least value that is not exceeded with at least
 * the given one.
 *
 * @param node         a continuous node of a compiled domain
 * @param probability  the probability, between 0 and 1, both excluded
 * @return the value, in the unit of the node's values; -1.0 on failure (which may also be an answer; see
 *         tv_error_code)
 *
 * @par Failures
 * - tv_status_usage: the node is not continuous, or `probability` is not between 0 and 1 (both excluded)
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: the node's tree holds no valid result
 * - tv_status_overflow: a mean or variance is no finite number
 * - tv_status_no_memory: also when the node's distribution would exceed the memory limit
 *   (tv_domain_set_memory_limit)
 */
TV_API double tv_node_get_quantile(tv_node_t* node, double probability);

/**
 * Returns the joint distribution of some nodes given the evidence, whether or not they meet in one clique.
 *
 * It is a table over the nodes in the given order, discrete ones first (convention 9), summing to one.
 * Continuous nodes have, for each configuration of the discrete ones, their exact means and covariances given
 * that configuration (their joint distribution need not be normal: it may be a mixture over other nodes).
 * After max propagation its entries relate to the best one, which is 1; in fast-retraction mode the evidence
 * on these nodes is left out. The present beliefs are not disturbed. Time and memory grow with the table, and
 * with what lies between the nodes in the tree.
 *
 * @param domain  a compiled domain
 * @param nodes   discrete and continuous nodes of the domain, at least one, none of them twice
 * @return the table: free it with tv_table_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: the list is empty, a node stands in it twice, belongs to another domain, or is neither
 *   discrete nor continuous
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: the tree of one of the nodes has no valid result, or the result rests on the
 *   numbers of a node's table that were changed after the propagation, through a pointer from before it
 * - tv_status_normalization: in fast-retraction mode, the evidence on the other nodes is impossible
 * - tv_status_overflow: a mean or covariance is no finite number, or likelihoods or unnormalised tables let
 *   an entry of a clique's table grow beyond 3.40282e+38
 * - tv_status_no_memory: also when the table's size does not fit into a size_t, or the table would exceed the
 *   memory limit (tv_domain_set_memory_limit)
 * - tv_status_error: the progress handler asked to stop
 */
TV_API tv_table_t* tv_domain_get_marginal(tv_domain_t* domain, tv_node_t** nodes);

/** @} */

/**
 * @defgroup compression Compression and approximation
 * Where nodes follow from others, most configurations of a clique are impossible. A compressed domain stores
 * those that are possible and nothing else, and propagation costs what is possible. Approximation sets small
 * entries to zero, so that compression can leave them out, too.
 *
 * What is impossible is found from the zeros of the potentials alone, clique by clique, without full tables:
 * positive entries are joined, and what a neighbouring clique has ruled out is ruled out here, until nothing
 * more can be (Bernstein & Chiu 1981). Evidence only ever removes configurations, so that none is missing
 * when it is retracted. Single cliques, and trees with continuous nodes, decisions or utilities, keep their
 * full tables where others would not pay; answers are the same.
 * @{
 */

/**
 * Compresses a compiled domain: from now on its clique and separator tables store what is possible. Evidence,
 * equilibrium and answers stay as they are.
 *
 * What an approximation has set to zero, or evidence propagated at the time made impossible elsewhere, is
 * left out for good: a reset starts from what is left, and the approximation constant says how much of the
 * mass that is. Compressing again leaves out what has been set to zero since. Trees that keep full tables
 * because of continuous nodes, decisions or utilities lose nothing for good: a reset undoes their
 * approximation.
 *
 * On a compressed domain fast retraction is refused; evidence that was propagated so counts as normal, at
 * the latest with the next propagation. That takes in tables that have changed, too; where one makes more
 * possible, what is possible is found anew, without approximation. The copy of tv_domain_save_to_memory is
 * freed. Queries end. Uncompiling ends compression.
 *
 * @param domain  a compiled domain
 * @return the memory of all tables (those of nodes, and one for each clique and separator) with possible
 *         entries alone, divided by what they took before; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: selected states are required (tv_domain_set_ijt_nodes), or nodes are joined by
 *   undirected links
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: nothing valid is propagated
 * - tv_status_table_too_large: the table of a node has more than 4294967295 entries
 * - tv_status_error: the progress handler asked to stop
 */
TV_API double tv_domain_compress(tv_domain_t* domain);

/**
 * Tells whether a domain is compressed: by tv_domain_compress or, with tv_domain_set_zero_compression, from
 * its compilation on.
 *
 * @param domain  the domain
 * @return 1 or 0; -1 on failure
 */
TV_API int tv_domain_is_compressed(const tv_domain_t* domain);

/**
 * Asks for compilation straight to compressed tables, so that a domain can be compiled whose full tables no
 * machine could hold. Clones have the setting, too.
 *
 * tv_domain_compile then compares tv_domain_get_compressed_memory_need with the memory limit, and refuses
 * with tv_status_usage what tv_domain_compress would refuse.
 *
 * @param domain  the domain; if it is compiled, the setting counts from the next compilation on
 * @param on      0: full tables, as at first; any other value: compressed ones
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_domain_set_zero_compression(tv_domain_t* domain, int on);

/**
 * Tells whether compilation leads straight to compressed tables.
 *
 * @param domain  the domain
 * @return 1 or 0; -1 on failure
 */
TV_API int tv_domain_get_zero_compression(const tv_domain_t* domain);

/**
 * Returns what tv_domain_get_memory_need would be with compressed tables. The possible configurations are
 * found for it (time, memory); no query may run meanwhile. Of a compressed domain both answers are equal.
 *
 * @param domain  a triangulated domain
 * @return the need in bytes; all ones on failure
 *
 * @par Failures
 * - tv_status_usage: the domain is not triangulated, selected states are required (tv_domain_set_ijt_nodes),
 *   or nodes are joined by undirected links
 * - tv_status_size_too_large: it does not fit into a size_t
 * - tv_status_error: the progress handler asked to stop
 */
TV_API size_t tv_domain_get_compressed_memory_need(tv_domain_t* domain);

/**
 * Sets small entries of the clique tables to zero, and propagates what is left.
 *
 * In each clique, as it stands under the propagated evidence, the threshold is the first of epsilon / 2,
 * epsilon / 4, ... below which the entries sum to less than epsilon (Jensen & Andersen 1990). So each clique
 * loses less than epsilon of its mass. The normalisation constant shrinks with the mass. A reset undoes the
 * approximation, unless the domain has been compressed since.
 *
 * @param domain   a compiled domain without decisions, in sum equilibrium with normal evidence, with nothing
 *                 left to propagate
 * @param epsilon  positive and finite
 * @return the approximation constant (tv_domain_get_approximation_constant); -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: `epsilon` is not positive, infinite or not a number; the domain has decisions; evidence
 *   or tables are left to propagate, or the domain is not in sum equilibrium with normal evidence
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_inconsistency_or_underflow: nothing is left; the domain is reset as by a failed propagation
 * - tv_status_error: the progress handler asked to stop
 */
TV_API double tv_domain_approximate(tv_domain_t* domain, double epsilon);

/**
 * Returns how much of the probability mass is left: the product over all junction trees of what each
 * approximation since the last reset has kept and, of a compressed domain, of what the entries that are
 * stored have of it without evidence.
 *
 * @param domain  a compiled domain
 * @return the approximation constant, 1.0 where nothing was approximated; -1.0 on failure
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 */
TV_API double tv_domain_get_approximation_constant(const tv_domain_t* domain);

/** @} */

/**
 * @defgroup limid Policies of decisions
 * A domain with decision and utility nodes is a limited-memory influence diagram: the parents of a decision
 * are what is known when it is made. Its table is its *policy*, a distribution over its states for each
 * configuration of the parents; without a table it is uniform. Utilities add up. A decision on which a state
 * is entered is *made*: the state stands in the place of the policy, which then plays no part. What a
 * decision that is not made can influence must not be observed (invalid_evidence).
 * @{
 */

/**
 * Improves the policies of all decisions that are not made and have more than one state, by single policy
 * updating (Lauritzen & Nilsson 2001).
 *
 * One decision at a time gets, for each configuration of its parents, a policy that is best given the
 * evidence and the policies of the others, until no policy changes. States count as equally good when their
 * expected utilities differ from the best by less than 6 millionths of it, or by what rounding can explain;
 * among them a policy keeps its mixture. A policy that is optimal already, and one for a configuration that
 * cannot occur, stays as it is. The result is a local optimum; where every decision knows all that was known
 * and decided before it, and no policy excluded a state at the start, it is the best of all.
 *
 * Decisions are updated in the order in which they become extremal in the reduction of
 * tv_node_get_requisite_parents, the last to be made first. The domain must be in sum equilibrium, in normal
 * mode or without evidence, with nothing left to propagate; it is so again afterwards, and tables that are
 * computed from results follow the new policies. A domain without utility nodes is left alone. A failure
 * resets the tree on which it occurred; policies that were improved by then stay improved.
 *
 * @param domain  a compiled domain
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_usage: the domain is not in sum equilibrium, in normal mode or without evidence, or something
 *   is left to propagate
 * - tv_status_functional_dependency: function nodes stand between other nodes
 * - tv_status_no_memory: also when a policy would exceed the memory limit (tv_domain_set_memory_limit)
 * - tv_status_inconsistency_or_underflow, tv_status_overflow, tv_status_invalid_probability_potential: from
 *   the propagation of the new policies; tv_domain_propagate says when
 * - tv_status_invalid_expression, tv_status_invalid_state_values, tv_status_insufficient_state_range,
 *   tv_status_inappropriate_arguments, tv_status_division_by_zero, tv_status_computation_failed,
 *   tv_status_no_value, tv_status_no_equilibrium: the table of a node could not be generated from its model
 *   after the policies had changed; tv_node_generate_table says when
 * - tv_status_io: the log could not be written while a table was generated
 * - tv_status_error: the progress handler asked to stop (its task is "policies")
 */
TV_API tv_status_t tv_domain_update_policies(tv_domain_t* domain);

/**
 * Lists the parents of a decision that can influence its optimal policy, found in the graph alone by the
 * minimal reduction (Lauritzen & Nilsson 2001).
 *
 * Without the other parents, the best expected utility is the same.
 *
 * @param node  a decision
 * @return the list, in the order of its parents, owned by the library and valid until the structure changes;
 *         NULL on failure
 *
 * @par Failures
 * - tv_status_usage: not a decision
 * - tv_status_functional_dependency: function nodes stand between other nodes
 */
TV_API tv_node_t** tv_node_get_requisite_parents(tv_node_t* node);

/**
 * Lists the ancestors of a decision that could influence its optimal policy if every decision observed all of
 * its ancestors: what would be worth knowing.
 *
 * They are found in the graph alone by the minimal reduction (Lauritzen & Nilsson 2001).
 *
 * @param node  a decision
 * @return the list, owned by the library and valid until the structure changes; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: not a decision
 * - tv_status_functional_dependency: function nodes stand between other nodes
 */
TV_API tv_node_t** tv_node_get_requisite_ancestors(tv_node_t* node);

/** @} */

/**
 * @defgroup queries Queries
 * A query is a second evidence over a compiled domain: findings, propagation and results of its own, which
 * neither disturb the domain's nor are disturbed by them. It shares the domain's cliques and the numbers of
 * its nodes' tables and needs memory for its own tables and beliefs alone, about tv_domain_get_memory_need.
 * Many threads may use queries of one domain at the same time, each its own (convention 11): that is how
 * batches of cases are computed.
 *
 * A query is *open* until the domain is changed in what its results depend on: a change that uncompiles it, a
 * table touched (tv_node_touch_table), a policy updated, the domain deleted. From then on its functions
 * answer tv_status_not_compiled, and all that is left is to delete it. Findings and propagations of the
 * domain itself do not end it.
 * @{
 */

/**
 * Makes a query: another evidence, at first none, over a compiled domain. Nothing is propagated in it yet.
 *
 * Policies of decisions are those of the domain. The progress handler is called for queries, too, by the
 * thread that propagates one.
 *
 * @param domain  a compiled domain
 * @return the query: free it with tv_query_delete, before or after the domain; NULL on failure
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_usage: the table of a node is computed from results of a propagation (of a discrete function
 *   node with parents, or of a node with real-valued function nodes among them), so that it depends on the
 *   evidence
 * - tv_status_no_equilibrium: tables were touched since the domain was last propagated: propagate it first
 * - tv_status_no_memory: also when this state and those of the domain and its open queries would together
 *   exceed the memory limit (tv_domain_set_memory_limit)
 * - tv_status_error: continuous nodes cannot be propagated in this order of elimination
 */
TV_API tv_query_t* tv_domain_new_query(tv_domain_t* domain);

/**
 * Deletes a query, whether or not it is open or its domain still there.
 *
 * @param query  the query
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_query_delete(tv_query_t* query);

/**
 * Tells whether a query can still be used.
 *
 * @param query  the query
 * @return 1, or 0 once its domain was changed, uncompiled or deleted; -1 on failure
 */
TV_API int tv_query_is_open(const tv_query_t* query);

/**
 * Selects the one state that a discrete node is known to be in, in this query, in the place of what was
 * entered on it before.
 *
 * @param query  an open query
 * @param node   a discrete node of its domain
 * @param state  the state, below the number of states
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_not_compiled: the query is not open
 * - tv_status_usage: the node belongs to another domain, is not discrete or belongs to a class, or `state` is
 *   out of range
 */
TV_API tv_status_t tv_query_select_state(tv_query_t* query, tv_node_t* node, size_t state);

/**
 * Enters the likelihood of one state of a discrete node in this query. The other states keep theirs: 1 for
 * all if nothing was entered, 1 and 0 if a state was selected.
 *
 * @param query  an open query
 * @param node   a discrete node of its domain
 * @param state  the state, below the number of states
 * @param value  the likelihood: a finite number that is not negative
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_not_compiled: the query is not open
 * - tv_status_usage: the node belongs to another domain, is not discrete or belongs to a class, `state` is
 *   out of range, or `value` is negative or not finite
 */
TV_API tv_status_t tv_query_enter_finding(tv_query_t* query, tv_node_t* node, size_t state,
                                          tv_number_t value);

/**
 * Enters the value of a continuous node in this query.
 *
 * @param query  an open query
 * @param node   a continuous node of its domain
 * @param value  the observed value, in the unit of the node; finite
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_not_compiled: the query is not open
 * - tv_status_usage: the node belongs to another domain, is not continuous or belongs to a class, or `value`
 *   is not finite
 */
TV_API tv_status_t tv_query_enter_value(tv_query_t* query, tv_node_t* node, double value);

/**
 * Takes back what is entered on one node of this query. The next propagation takes it back in the results.
 *
 * @param query  an open query
 * @param node   a discrete or continuous node of its domain
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_not_compiled: the query is not open
 * - tv_status_usage: the node belongs to another domain, is neither discrete nor continuous, or belongs to a
 *   class
 */
TV_API tv_status_t tv_query_retract_node_findings(tv_query_t* query, tv_node_t* node);

/**
 * Takes back all that is entered in this query, and begins a new case: its results end, and the next
 * propagation starts from the tables of the nodes. Its answers are then the same bits whatever cases came
 * before, in this query or in another one.
 *
 * @param query  an open query
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_not_compiled: the query is not open
 */
TV_API tv_status_t tv_query_retract_findings(tv_query_t* query);

/**
 * Brings the results of a query into agreement with what is entered in it. When there is nothing to do, it
 * returns at once.
 *
 * On a failure of those that are checked first, nothing changes. On any later one the query is reset: its
 * results cannot be read (no_equilibrium) until a propagation succeeds, and the entered evidence is still
 * there to be corrected. Trees with continuous nodes, unless the progress handler asked to stop or memory ran
 * out, answer without evidence instead.
 *
 * @param query        an open query
 * @param equilibrium  what its results shall hold: tv_equilibrium_sum or tv_equilibrium_max
 * @param mode         how evidence counts
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * The first three are checked first, in this order.
 * - tv_status_not_compiled: the query is not open
 * - tv_status_usage: `equilibrium` is neither sum nor max, or `mode` is none of the two; or anything but sum
 *   and normal in a domain with continuous nodes
 * - tv_status_invalid_evidence: a decision has evidence other than a selected state, a chance node below an
 *   undecided decision has evidence, or a required selected state is missing
 * - tv_status_inconsistency_or_underflow: the evidence is impossible, however small the probability of
 *   possible evidence may be
 * - tv_status_low_density: the density of an observed value is no normal number
 * - tv_status_zero_variance: an observed value was certain already, given the other ones, in a configuration
 *   of positive probability, so that it has no density
 * - tv_status_overflow: likelihoods or unnormalised tables let a message grow beyond 3.40282e+38
 * - tv_status_fast_retraction, tv_status_compressed: zeros defeat that mode, or the domain is compressed
 * - tv_status_normalization: in fast-retraction mode, what is entered on all nodes but one is impossible, so
 *   that this one has no belief
 * - tv_status_error: the progress handler asked to stop
 */
TV_API tv_status_t tv_query_propagate(tv_query_t* query, tv_equilibrium_t equilibrium,
                                      tv_evidence_mode_t mode);

/**
 * Returns the belief in a state, as last propagated in this query: its probability given the evidence, or
 * after max propagation that of the best configuration with this state, relative to the best of all.
 *
 * @param query  an open query
 * @param node   a discrete node of its domain
 * @param state  the state, below the number of states
 * @return the belief, from 0 to 1; -1.0 on failure
 *
 * @par Failures
 * - tv_status_not_compiled: the query is not open
 * - tv_status_usage: the node belongs to another domain or has no belief, or `state` is out of range
 * - tv_status_no_equilibrium: nothing valid is propagated in the node's tree
 */
TV_API tv_number_t tv_query_get_belief(const tv_query_t* query, const tv_node_t* node, size_t state);

/**
 * Returns the exact mean of a continuous node given the evidence that was last propagated in this query.
 *
 * @param query  an open query
 * @param node   a continuous node of its domain
 * @return the mean, in the unit of the node; -1.0 on failure (which may also be an answer; see tv_error_code)
 *
 * @par Failures
 * - tv_status_not_compiled: the query is not open
 * - tv_status_usage: the node belongs to another domain or is not continuous
 * - tv_status_no_equilibrium: nothing valid is propagated in the node's tree
 * - tv_status_overflow: the result is no finite number
 */
TV_API double tv_query_get_mean(const tv_query_t* query, const tv_node_t* node);

/**
 * Returns the exact variance of a continuous node given the evidence that was last propagated in this query.
 *
 * @param query  an open query
 * @param node   a continuous node of its domain
 * @return the variance, in the square of the unit of the node; -1.0 on failure
 *
 * @par Failures
 * - tv_status_not_compiled: the query is not open
 * - tv_status_usage: the node belongs to another domain or is not continuous
 * - tv_status_no_equilibrium: nothing valid is propagated in the node's tree
 * - tv_status_overflow: the result is no finite number
 */
TV_API double tv_query_get_variance(const tv_query_t* query, const tv_node_t* node);

/**
 * Returns the natural logarithm of the probability of the evidence that was last propagated in this query:
 * with likelihoods and values the expected likelihood and density; after max propagation that of the best
 * configuration.
 *
 * @param query  an open query
 * @return the logarithm; -1.0 on failure (which may also be an answer; see tv_error_code)
 *
 * @par Failures
 * - tv_status_not_compiled: the query is not open
 * - tv_status_no_equilibrium: nothing valid is propagated in some tree
 */
TV_API double tv_query_get_log_normalization_constant(const tv_query_t* query);

/**
 * Returns the expected utility of a state of a discrete node, or that of a utility node, given the evidence
 * that was last propagated in this query.
 *
 * Of a state it is the expectation of the sum of all utilities of the node's tree, given the state, the
 * evidence and the policies of the decisions that are not made; 0 for an impossible state. Of a utility node
 * it is the expectation of its own utility. It is 0 in a domain without utility nodes.
 *
 * @param query  an open query
 * @param node   a discrete node or a utility node of its domain
 * @param state  the state, below the number of states; 0 for a utility node
 * @return the expected utility; -1.0 on failure (which may also be an answer; see tv_error_code)
 *
 * @par Failures
 * - tv_status_not_compiled: the query is not open
 * - tv_status_usage: the node belongs to another domain, is neither discrete nor a utility node, or `state`
 *   is out of range; or, checked last, the node is a function node, or there are no utility nodes, and the
 *   tree is not in sum equilibrium with normal mode or without evidence
 * - tv_status_no_equilibrium: nothing valid is propagated in the node's tree
 */
TV_API tv_number_t tv_query_get_node_expected_utility(const tv_query_t* query, const tv_node_t* node,
                                                      size_t state);

/**
 * Returns the expected utility given the evidence that was last propagated in this query and the policies:
 * the sum over the utility nodes of its domain.
 *
 * @param query  an open query
 * @return the expected utility, 0 without any utility node; -1.0 on failure (which may also be an answer; see
 *         tv_error_code)
 *
 * @par Failures
 * - tv_status_not_compiled: the query is not open
 * - tv_status_no_equilibrium: nothing valid is propagated in some tree
 * - tv_status_usage: there is no utility node, and the trees are not in sum equilibrium with normal mode or
 *   without evidence
 */
TV_API double tv_query_get_expected_utility(const tv_query_t* query);

/** @} */

/**
 * @defgroup reading Reading networks
 * The NET language is the textual form of a network (docs/file-formats.md). A short taste is the program at
 * the top. Names, links and numbers are checked as by the functions above. Errors are told to the handler,
 * and nothing is returned then; warnings are told and parsing goes on. tv_net_parse_file and
 * tv_net_parse_buffer go on behind an error where they can, for up to ten errors; the others stop at the
 * first.
 *
 * The nodes and attributes of a domain that is read stand in file order. It is not compiled. Classes are
 * unknown in this version (parse). A table that is given beside a model counts as generated by it.
 * @{
 */

/**
 * Reads a domain from a file or from a text, up to the first error.
 *
 * A file may also be written in the older node-specification language; docs/file-formats.md describes both.
 *
 * @param source        the text, if its first word, after white space and comments, is a keyword of the
 *                      language followed by white space or a brace; otherwise the name of a file
 * @param handler       is told of errors and warnings; positions are lines of a file, numbers of characters
 *                      read of a text; may be null
 * @param handler_data  a pointer for the handler; may be null
 * @return the domain: free it with tv_domain_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_io: the file could not be opened, read or closed
 * - tv_status_parse: the text breaks the rules of the language
 * - tv_status_syntax, tv_status_invalid_expression: an expression breaks the rules of tv_string_to_expression
 * - tv_status_cg_limids_not_supported, tv_status_cyclic_functional_dependency,
 *   tv_status_functional_dependency, tv_status_usage: tv_domain_new_node or tv_node_add_parent refuses a node
 *   or link of the text
 * - tv_status_size_too_large: a model has more expressions than a size_t can count
 * - tv_status_overflow: a number of a continuous node's distribution is too large
 * - tv_status_locale: the "C" locale could not be selected
 */
TV_API tv_domain_t* tv_net_parse_domain(const char* source, tv_error_handler_t handler, void* handler_data);

/**
 * Reads a domain from a file, whatever its name is, and tells of up to ten errors.
 *
 * Parsing goes on behind an error with the next attribute or item, and what only follows from an earlier
 * error is left out. The status is that of the first error. The file may also be written in the older
 * node-specification language; docs/file-formats.md describes both.
 *
 * @param file_name     the name of the file
 * @param handler       is told of errors and warnings; positions are lines; may be null
 * @param handler_data  a pointer for the handler; may be null
 * @return the domain: free it with tv_domain_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_io: the file could not be opened, read or closed
 * - tv_status_parse: the text breaks the rules of the language
 * - tv_status_syntax, tv_status_invalid_expression: an expression breaks the rules of tv_string_to_expression
 * - tv_status_cg_limids_not_supported, tv_status_cyclic_functional_dependency,
 *   tv_status_functional_dependency, tv_status_usage: tv_domain_new_node or tv_node_add_parent refuses a node
 *   or link of the text
 * - tv_status_size_too_large: a model has more expressions than a size_t can count
 * - tv_status_overflow: a number of a continuous node's distribution is too large
 * - tv_status_locale: the "C" locale could not be selected
 */
TV_API tv_domain_t* tv_net_parse_file(const char* file_name, tv_error_handler_t handler, void* handler_data);

/**
 * Reads a domain from a text of a given length, and tells of up to ten errors.
 *
 * Parsing goes on behind an error with the next attribute or item, and what only follows from an earlier
 * error is left out. The status is that of the first error. The text may also be written in the older
 * node-specification language; docs/file-formats.md describes both.
 *
 * @param text          the text, which needs no null character at its end
 * @param length        its length in bytes
 * @param handler       is told of errors and warnings; positions are the numbers of characters read; may be
 *                      null
 * @param handler_data  a pointer for the handler; may be null
 * @return the domain: free it with tv_domain_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_parse: the text breaks the rules of the language
 * - tv_status_syntax, tv_status_invalid_expression: an expression breaks the rules of tv_string_to_expression
 * - tv_status_cg_limids_not_supported, tv_status_cyclic_functional_dependency,
 *   tv_status_functional_dependency, tv_status_usage: tv_domain_new_node or tv_node_add_parent refuses a node
 *   or link of the text
 * - tv_status_size_too_large: a model has more expressions than a size_t can count
 * - tv_status_overflow: a number of a continuous node's distribution is too large
 * - tv_status_locale: the "C" locale could not be selected
 */
TV_API tv_domain_t* tv_net_parse_buffer(const char* text, size_t length, tv_error_handler_t handler,
                                        void* handler_data);

/**
 * Reads a domain from an open stream, up to its end or the first error.
 *
 * The text may also be written in the older node-specification language; docs/file-formats.md describes both.
 *
 * @param stream   the stream, which you close
 * @param handler  is told of errors and warnings; positions are lines; may be null
 * @return the domain: free it with tv_domain_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_io: the stream could not be read
 * - tv_status_parse: the text breaks the rules of the language
 * - tv_status_syntax, tv_status_invalid_expression: an expression breaks the rules of tv_string_to_expression
 * - tv_status_cg_limids_not_supported, tv_status_cyclic_functional_dependency,
 *   tv_status_functional_dependency, tv_status_usage: tv_domain_new_node or tv_node_add_parent refuses a node
 *   or link of the text
 * - tv_status_size_too_large: a model has more expressions than a size_t can count
 * - tv_status_overflow: a number of a continuous node's distribution is too large
 * - tv_status_locale: the "C" locale could not be selected
 */
TV_API tv_domain_t* tv_net_parse(FILE* stream, tv_old_error_handler_t handler);

/**
 * Reads a domain from a text, never a file name, up to the first error.
 *
 * The text may also be written in the older node-specification language; docs/file-formats.md describes both.
 *
 * @param text     the text
 * @param handler  is told of errors and warnings; positions are the numbers of characters read; may be null
 * @return the domain: free it with tv_domain_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_parse: the text breaks the rules of the language
 * - tv_status_syntax, tv_status_invalid_expression: an expression breaks the rules of tv_string_to_expression
 * - tv_status_cg_limids_not_supported, tv_status_cyclic_functional_dependency,
 *   tv_status_functional_dependency, tv_status_usage: tv_domain_new_node or tv_node_add_parent refuses a node
 *   or link of the text
 * - tv_status_size_too_large: a model has more expressions than a size_t can count
 * - tv_status_overflow: a number of a continuous node's distribution is too large
 * - tv_status_locale: the "C" locale could not be selected
 */
TV_API tv_domain_t* tv_net_parse_from_string(const char* text, tv_old_error_handler_t handler);

/**
 * Adds the nodes of a file, and their potentials, to a domain that exists, and uncompiles it if there are
 * any.
 *
 * Parents may be nodes of the domain; everything else that the file says is about its own nodes, and the
 * attributes of its `net` blocks are let go. On failure the domain is left as it was.
 *
 * @param domain        the domain
 * @param file_name     the name of the file
 * @param handler       is told of errors and warnings; positions are lines; may be null
 * @param handler_data  a pointer for the handler; may be null
 * @return the new nodes in file order, a list: free it with free() (the nodes are owned by the domain); NULL
 *         on failure
 *
 * @par Failures
 * - tv_status_io: the file could not be opened, read or closed
 * - tv_status_parse: the text breaks the rules of the language
 * - tv_status_syntax, tv_status_invalid_expression: an expression breaks the rules of tv_string_to_expression
 * - tv_status_cg_limids_not_supported, tv_status_cyclic_functional_dependency,
 *   tv_status_functional_dependency, tv_status_usage: tv_domain_new_node or tv_node_add_parent refuses a node
 *   or link of the text
 * - tv_status_size_too_large: a model has more expressions than a size_t can count
 * - tv_status_overflow: a number of a continuous node's distribution is too large
 * - tv_status_locale: the "C" locale could not be selected
 */
TV_API tv_node_t** tv_domain_parse_nodes(tv_domain_t* domain, const char* file_name,
                                         tv_error_handler_t handler, void* handler_data);

/** @} */

/**
 * @defgroup writing Writing networks
 * The NET language again, in one fixed layout: reading what was written gives the same network, and writing
 * that gives the same text, byte for byte. Table data are written with six significant digits, the values of
 * states and the numbers of continuous nodes with eight; what lies beyond is lost.
 * @{
 */

/**
 * Writes a domain to an open stream and flushes it. Nodes without a name get one (tv_node_get_name).
 *
 * What no text can say is refused before anything is written, with a code other than io, no_memory and
 * locale.
 *
 * @param domain  the domain
 * @param stream  the stream, which you close
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_invalid_probability_potential: a probability, a policy or a number of a continuous node's
 *   distribution is not finite; or a probability or policy is negative in the table of a node without
 *   discrete parents; or a conditional variance is negative
 * - tv_status_usage: a utility, an experience count or a fading factor is not finite
 * - tv_status_invalid_state_values: a value or an inner bound is infinite or the largest double, which stands
 *   for infinity
 * - tv_status_invalid_expression: a number in an expression is not finite, its text is nested too deeply to
 *   be read, or it has a truth value whose name is that of a node
 * - tv_status_io: the stream took not everything
 * - tv_status_no_memory: also when a table or a model is too large to be written
 * - tv_status_locale: the "C" locale could not be selected
 */
TV_API tv_status_t tv_domain_write_net(tv_domain_t* domain, FILE* stream);

/**
 * Writes a domain as text in the NET language. Nodes without a name get one (tv_node_get_name).
 *
 * @param domain  the domain
 * @return the text: free it with free(); NULL on failure
 *
 * @par Failures
 * - tv_status_invalid_probability_potential: a probability, a policy or a number of a continuous node's
 *   distribution is not finite; or a probability or policy is negative in the table of a node without
 *   discrete parents; or a conditional variance is negative
 * - tv_status_usage: a utility, an experience count or a fading factor is not finite
 * - tv_status_invalid_state_values: a value or an inner bound is infinite or the largest double, which stands
 *   for infinity
 * - tv_status_invalid_expression: a number in an expression is not finite, its text is nested too deeply to
 *   be read, or it has a truth value whose name is that of a node
 * - tv_status_no_memory: also when a table or a model is too large to be written
 * - tv_status_locale: the "C" locale could not be selected
 */
TV_API char* tv_domain_to_net_string(tv_domain_t* domain);

/** @} */

/**
 * @defgroup cases Cases
 * A case is one observation of the network: some nodes have a state or a value, the others are missing. A
 * domain can hold any number of them, numbered from 0, each with a count that says how often it was seen;
 * nodes that have no cell set cost no memory. Files hold one case (the evidence that is entered) or many (the
 * stored cases); docs/file-formats.md describes both forms.
 * @{
 */

/**
 * Makes a domain hold so many cases.
 *
 * New ones have every cell missing and the count 1; those beyond `count` are forgotten.
 *
 * @param domain  the domain
 * @param count   how many cases
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_domain_set_number_of_cases(tv_domain_t* domain, size_t count);

/**
 * Adds a case, with every cell missing and the count 1.
 *
 * @param domain  the domain
 * @return the index of the case; all ones on failure
 */
TV_API size_t tv_domain_new_case(tv_domain_t* domain);

/**
 * Counts the cases that a domain holds.
 *
 * @param domain  the domain
 * @return how many there are; all ones on failure
 */
TV_API size_t tv_domain_get_number_of_cases(const tv_domain_t* domain);

/**
 * Sets how often a case was seen.
 *
 * @param domain      the domain
 * @param case_index  the case, below the number of cases
 * @param count       how often; it need not be a whole number
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: there is no such case, or `count` is negative or not finite
 */
TV_API tv_status_t tv_domain_set_case_count(tv_domain_t* domain, size_t case_index, tv_number_t count);

/**
 * Returns how often a case was seen.
 *
 * @param domain      the domain
 * @param case_index  the case, below the number of cases
 * @return how often, 1 until it is set; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such case
 */
TV_API tv_number_t tv_domain_get_case_count(const tv_domain_t* domain, size_t case_index);

/**
 * Notes a state of a discrete node in a case.
 *
 * @param node        a discrete node
 * @param case_index  the case, below the number of cases
 * @param state       the state, below the number of states and at most 32767
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the node is not discrete, or there is no such case or state
 * - tv_status_case_state_too_large: the state is 32768 or more
 */
TV_API tv_status_t tv_node_set_case_state(tv_node_t* node, size_t case_index, size_t state);

/**
 * Notes a value of a continuous node in a case.
 *
 * @param node        a continuous node
 * @param case_index  the case, below the number of cases
 * @param value       the value, in the unit of the node's values, finite
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the node is not continuous, there is no such case, or `value` is NaN or infinite
 */
TV_API tv_status_t tv_node_set_case_value(tv_node_t* node, size_t case_index, double value);

/**
 * Makes a node missing in a case.
 *
 * @param node        a discrete or continuous node
 * @param case_index  the case, below the number of cases
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the node is neither discrete nor continuous, or there is no such case
 */
TV_API tv_status_t tv_node_unset_case(tv_node_t* node, size_t case_index);

/**
 * Tells whether a node has a state or value in a case.
 *
 * @param node        a discrete or continuous node
 * @param case_index  the case, below the number of cases
 * @return 1, or 0 where it is missing; -1 on failure
 *
 * @par Failures
 * - tv_status_usage: the node is neither discrete nor continuous, or there is no such case
 */
TV_API int tv_node_case_is_set(const tv_node_t* node, size_t case_index);

/**
 * Returns the state of a discrete node in a case.
 *
 * @param node        a discrete node
 * @param case_index  the case, below the number of cases
 * @return the state; all ones on failure
 *
 * @par Failures
 * - tv_status_usage: the node is not discrete, or there is no such case
 * - tv_status_no_value: the node is missing in the case
 */
TV_API size_t tv_node_get_case_state(const tv_node_t* node, size_t case_index);

/**
 * Returns the value of a continuous node in a case.
 *
 * @param node        a continuous node
 * @param case_index  the case, below the number of cases
 * @return the value; -1.0 on failure (which may also be an answer; see tv_error_code)
 *
 * @par Failures
 * - tv_status_usage: the node is not continuous, or there is no such case
 * - tv_status_no_value: the node is missing in the case
 */
TV_API double tv_node_get_case_value(const tv_node_t* node, size_t case_index);

/**
 * Makes a case the entered evidence. Nodes that are missing in it have nothing entered then.
 *
 * @param domain      the domain
 * @param case_index  the case, below the number of cases
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: there is no such case
 */
TV_API tv_status_t tv_domain_enter_case(tv_domain_t* domain, size_t case_index);

/**
 * Learns the distributions of chance nodes from the cases of a domain, by expectation and maximisation
 * (Dempster, Laird & Rubin 1977; Lauritzen 1995): cells that are missing count for what the network, with its
 * present tables, makes of them given the rest of the case.
 *
 * A chance node takes part if it has an experience table (tv_node_get_experience_table) whose largest count
 * is not negative. A count e for a configuration of its discrete parents stands for e earlier cases with the
 * present distribution; 0, as a new experience table has it, for none; a negative count leaves that
 * configuration alone. A configuration that neither cases nor experience reach keeps its distribution.
 * Afterwards the experience counts have grown by the expected number of cases.
 *
 * Each iteration goes through the cases once and sets all tables. The last one is that in which the log-
 * likelihood changes by no more than its magnitude times tv_domain_get_log_likelihood_tolerance, or the one
 * of the number tv_domain_get_max_number_of_em_iterations; one suffices where no case lacks anything. The
 * variance of a continuous node is that of its configuration where more than five cases, or of all
 * configurations together where these have more than five; otherwise it stays.
 *
 * Tables come out the same, bit for bit, for every number of threads (tv_domain_set_em_concurrency_level).
 * The progress handler is told of the task "learning" after each iteration, and can end it: then the tables
 * so far are kept. A log, if there is one, gets the log-likelihood of each iteration, and the final scores.
 * Evidence that is entered is retracted; that on nodes that must be instantiated (tv_domain_set_ijt_nodes) is
 * propagated.
 *
 * @param domain  a compiled domain with cases, propagated without evidence
 * @return tv_status_none, or the code of a failure, after which the tables are what they were
 *
 * @par Failures
 * - tv_status_usage: there is no case with a positive count; the domain is not in sum equilibrium, or has
 *   evidence or tables to be propagated; it has continuous nodes and nodes that must be instantiated; a table
 *   depends on results of function nodes; no node is to be learned
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_functional_dependency: function nodes make the order of decisions undefined
 * - tv_status_inconsistency_or_underflow: a case is impossible under the tables of an iteration
 * - tv_status_overflow, tv_status_low_density, tv_status_zero_variance: a case could not be propagated
 * - tv_status_io: the log could not be written
 */
TV_API tv_status_t tv_domain_learn_tables(tv_domain_t* domain);

/**
 * Sets by how much the log-likelihood must change for learning to go on.
 *
 * @param domain     the domain
 * @param tolerance  the part of its magnitude, 0.0001 until it is set
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: `tolerance` is negative or NaN
 */
TV_API tv_status_t tv_domain_set_log_likelihood_tolerance(tv_domain_t* domain, double tolerance);

/**
 * Returns by how much the log-likelihood must change for learning to go on.
 *
 * @param domain  the domain
 * @return the part of its magnitude; -1.0 on failure
 */
TV_API double tv_domain_get_log_likelihood_tolerance(const tv_domain_t* domain);

/**
 * Limits the number of iterations of learning.
 *
 * @param domain  the domain
 * @param count   the most iterations; 0, the default, for no limit
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_domain_set_max_number_of_em_iterations(tv_domain_t* domain, size_t count);

/**
 * Returns the limit of the number of iterations of learning.
 *
 * @param domain  the domain
 * @return the most iterations, 0 (no limit) until it is set; all ones on failure
 */
TV_API size_t tv_domain_get_max_number_of_em_iterations(const tv_domain_t* domain);

/**
 * Returns the natural logarithm of the probability of the cases under the present tables, each as often as it
 * counts; of its density where values of continuous nodes belong to it.
 *
 * It is computed when it is first asked for, which initialises the domain (tv_domain_initialize), and known
 * until cases or tables change.
 *
 * @param domain  the domain; compiled, unless it has no cases
 * @return the log-likelihood, 0.0 without cases; 1.0 on failure: test tv_error_code
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_usage: tables have changed and wait to be propagated
 * - tv_status_functional_dependency: function nodes make the order of decisions undefined
 * - tv_status_inconsistency_or_underflow: a case is impossible
 */
TV_API double tv_domain_get_log_likelihood(tv_domain_t* domain);

/**
 * Returns the score of the tables by Akaike's criterion: the log-likelihood of the cases
 * (tv_domain_get_log_likelihood, whose failures are those of this function) less the number of free
 * parameters of the chance nodes. (Akaike 1974, without the factor -2.)
 *
 * @param domain  the domain; compiled, unless it has no cases
 * @return the score; 1.0 on failure: test tv_error_code
 */
TV_API double tv_domain_get_AIC(tv_domain_t* domain);

/**
 * Returns the score of the tables by the Bayesian criterion: the log-likelihood of the cases
 * (tv_domain_get_log_likelihood, whose failures are those of this function, too) less half the number of free
 * parameters of the chance nodes times the natural logarithm of the number of cases. (Schwarz 1978.)
 *
 * @param domain  a compiled domain
 * @return the score; 1.0 on failure: test tv_error_code
 *
 * @par Failures
 * - tv_status_usage: there is no case with a positive count
 */
TV_API double tv_domain_get_BIC(tv_domain_t* domain);

/**
 * Adapts the distributions of discrete chance nodes to the propagated evidence, as one more observation
 * (Spiegelhalter & Lauritzen 1990). No cases are needed, and what the evidence leaves open counts for what
 * the network makes of it.
 *
 * A discrete chance node takes part if it has an experience table (tv_node_get_experience_table). A count
 * e > 0 for a configuration of its parents makes the present distribution worth e observations: it is the
 * mean of a Dirichlet distribution with the total e. Let the configuration and state x have the probability
 * q_x given the evidence, and the configuration alone q. If the node has a fading table
 * (tv_node_get_fading_table) with the factor f there, e becomes e (1 - q + q f) at first. The probability m_x
 * of state x becomes
 *
 *     (q e m_x + q_x) / (e + 1) + (1 - q) m_x,
 *
 * its mean over what may have been observed. The count becomes that of the Dirichlet distribution with these
 * means and the same average variance; it is e + 1 where the observation is certain, and may fall where it
 * surprises and says little. A count stays above zero and finite. Configurations with a count of zero, as a
 * new experience table has it, or less are left alone.
 *
 * The evidence stays entered. Tables that have changed are to be propagated, as after tv_node_touch_table.
 *
 * @param domain  a compiled domain, in sum equilibrium with its entered evidence
 * @return tv_status_none, or the code of a failure, after which everything is as it was
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_usage: the domain is not in sum equilibrium with normal evidence, or has evidence or tables to
 *   be propagated; no discrete chance node has an experience table; where one would change, the fading factor
 *   is not above 0 and at most 1, or the count is infinite; the table of such a node depends on results of
 *   function nodes
 */
TV_API tv_status_t tv_domain_adapt(tv_domain_t* domain);

/**
 * Takes one observation back: undoes tv_domain_adapt for propagated evidence that leaves nothing open.
 *
 * For every discrete chance node with an experience table the evidence must make certain in which states the
 * node and its parents are: they are selected, or all others are impossible given what is. The count e of
 * that configuration becomes e - 1, and the probability m_x of state x (e m_x - 1) / (e - 1) where x is what
 * was observed, e m_x / (e - 1) where it is not. What rounding leaves below zero becomes zero. Configurations
 * with a count of zero or less are left alone. Fading is not undone.
 *
 * The evidence stays entered. Tables that have changed are to be propagated, as after tv_node_touch_table.
 *
 * @param domain  a compiled domain, in sum equilibrium with its entered evidence
 * @return tv_status_none, or the code of a failure, after which everything is as it was
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_usage: the domain is not in sum equilibrium with normal evidence, or has evidence or tables to
 *   be propagated; no discrete chance node has an experience table; the evidence leaves open in which states
 *   such a node and its parents are; a count would become zero or less, or is infinite; a probability would
 *   become negative; the table of such a node depends on results of function nodes
 */
TV_API tv_status_t tv_domain_unlearn(tv_domain_t* domain);

/**
 * Writes the entered evidence to a file, one node a line. Nodes without a name get one (tv_node_get_name).
 *
 * The file is written anew; after a failure it may be incomplete.
 *
 * @param domain     the domain
 * @param file_name  the name of the file
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_io: the file could not be opened or written
 * - tv_status_locale: the "C" locale could not be selected
 */
TV_API tv_status_t tv_domain_save_case(tv_domain_t* domain, const char* file_name);

/**
 * Retracts all findings of a domain and enters those of a file.
 *
 * When the file cannot be opened, what is entered stays; after any later error no finding is left.
 *
 * @param domain        the domain
 * @param file_name     the name of the file
 * @param handler       is told every message; positions are lines; may be null
 * @param handler_data  a pointer for the handler; may be null
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_io: the file could not be opened, read or closed
 * - tv_status_parse: some finding is wrong
 * - tv_status_locale: the "C" locale could not be selected; what is entered stays
 */
TV_API tv_status_t tv_domain_parse_case(tv_domain_t* domain, const char* file_name,
                                        tv_error_handler_t handler, void* handler_data);

/**
 * Writes the stored cases to a file: a header with the names of the nodes that have any cell set (all nodes
 * if none has), then one case a line. Nodes without a name get one (tv_node_get_name).
 *
 * The file is written anew; after a failure it may be incomplete.
 *
 * @param domain     the domain
 * @param file_name  the name of the file
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_io: the file could not be opened or written
 * - tv_status_locale: the "C" locale could not be selected
 */
TV_API tv_status_t tv_domain_save_cases(tv_domain_t* domain, const char* file_name);

/**
 * Replaces the stored cases of a domain by those of a file. After an error the stored cases are those of
 * before.
 *
 * @param domain        the domain
 * @param file_name     the name of the file
 * @param handler       is told every message; positions are lines; may be null
 * @param handler_data  a pointer for the handler; may be null
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_io: the file could not be opened, read or closed
 * - tv_status_parse: the file breaks the rules
 * - tv_status_case_state_too_large: a state is 32768 or more
 * - tv_status_locale: the "C" locale could not be selected
 */
TV_API tv_status_t tv_domain_parse_cases(tv_domain_t* domain, const char* file_name,
                                         tv_error_handler_t handler, void* handler_data);

/** What tv_domain_add_cases makes of an item that is no observation of its node. */
typedef enum tv_unmatched_e {
  /** A failure: no case is added. */
  tv_unmatched_error = 0,
  /** The item counts as missing. */
  tv_unmatched_missing = 1
} tv_unmatched_t;

/**
 * Adds the rows of a data set to the cases of a domain.
 *
 * A column is about the node of its name, or the only one that has the name as its label
 * (tv_node_get_label), unless you say otherwise. An item stands for a state by its label; of a boolean node
 * by `false` or `true`, `f` or `t`, `no` or `yes`, `n` or `y`, 0 or 1, in either case of letters; of a
 * numbered node by its value; of an interval node by a number in it, where a bound belongs to the interval
 * above; or as `\#` and the index of the state. Of a continuous node it is a number. Missing items, and nodes
 * without a column, stay missing.
 *
 * @param domain        the domain, compiled or not
 * @param data          the data set
 * @param nodes         the node of each column, null for a column that is about none; a null pointer to find
 *                      them by name
 * @param count_column  the column that says how often each row was seen, numbers not below 0; all ones for
 *                      none: then each counts once
 * @param unmatched     what becomes of an item that is no observation, and of a column that is about no node
 * @param handler       is told of each such item, and of each bad count, with the row, counted from 0, as the
 *                      position; of such a column with all ones; may be null
 * @param handler_data  a pointer for the handler; may be null
 * @return tv_status_none, or the code of a failure, after which the cases are what they were
 *
 * @par Failures
 * - tv_status_usage: there is no such count column; a node is of another domain; no column is about a node
 * - tv_status_twice: two columns are about the same node
 * - tv_status_parse: a count is missing or none; with tv_unmatched_error also an item that is no observation,
 *   and a column that is about no discrete or continuous node
 * - tv_status_case_state_too_large: an item stands for a state from 32,768 on
 */
TV_API tv_status_t tv_domain_add_cases(tv_domain_t* domain, const tv_data_set_t* data,
                                       tv_node_t* const* nodes, size_t count_column,
                                       tv_unmatched_t unmatched, tv_error_handler_t handler,
                                       void* handler_data);

/**
 * Creates a chance node for each column of a data set that is about none yet, with a state for each distinct
 * item.
 *
 * A column of nothing but `false` and `true` becomes a boolean node; one of numbers a numbered node, or a
 * continuous one where there are too many for states; any other a node with labels in the order of their
 * bytes. Where the name of the column cannot name a node, it becomes its label, and the name is made of its
 * letters and digits. Nodes have no links and uniform distributions. The domain is uncompiled.
 *
 * @param domain        the domain
 * @param data          the data set
 * @param most_states   how many states a node may have; 0 for 32
 * @param handler       is told of each column that no node can be made for, with all ones as the position;
 *                      may be null
 * @param handler_data  a pointer for the handler; may be null
 * @return the new nodes in the order of their columns, a list: free it with free(); NULL on failure, after
 *         which the domain is what it was
 *
 * @par Failures
 * - tv_status_parse: all items of a column are missing, or its texts are more than the states allowed
 * - tv_status_cg_limids_not_supported: a node would be continuous in a domain with decisions or utilities
 */
TV_API tv_node_t** tv_domain_new_nodes_from_data_set(tv_domain_t* domain, const tv_data_set_t* data,
                                                     size_t most_states, tv_error_handler_t handler,
                                                     void* handler_data);

/**
 * Copies the cases of a domain into a data set, from which tv_domain_add_cases reads them again as they are.
 *
 * There is a column for each node of which some case may say something, with the node's name; where cases
 * have other counts than 1, the first column is `\#count`.
 *
 * @param domain  the domain; its nodes without a name get one (tv_node_get_name)
 * @return the data set: free it with tv_data_set_delete; NULL on failure
 */
TV_API tv_data_set_t* tv_domain_cases_to_data_set(tv_domain_t* domain);

/** @} */

/**
 * @defgroup em_statistics Learning from parts of the cases
 * One iteration of tv_domain_learn_tables in pieces, for cases that are too many for one domain, process or
 * machine (docs/learning.md). Each has a domain with the same network and some of the cases, and computes the
 * *statistics* of these; statistics are added, also after they travelled as bytes, and give the tables that
 * the next iteration starts from.
 *
 * Parts of the cases begin at multiples of tv_get_em_block_size. However the cases are parted, and in
 * whatever order the statistics are added, tables come out the same, bit for bit, as tv_domain_learn_tables
 * makes them:
 *
 *     known = tv_domain_new_em_prior(domain);
 *     do {
 *       sum = tv_domain_new_em_statistics(domain, first_case);
 *       for (each other part) tv_em_statistics_add(sum, its statistics, computed with the same tables);
 *       tv_em_statistics_add(sum, known);
 *       tv_em_statistics_set_tables(sum, domain);
 *     } while (the log-likelihood of the sum has changed and not the last iteration);
 *     tv_em_statistics_set_experience(sum, domain);
 *
 * Statistics belong to no domain, and are of use to any with the same network: discrete and continuous nodes
 * with these names and states, in this order, with these parents and with experience tables that make the
 * same nodes learn. Different threads may read them at the same time while nobody changes them.
 * @{
 */

/**
 * Returns of how many cases the blocks consist whose sums are formed before they are added to each other.
 *
 * @return 65536
 */
TV_API size_t tv_get_em_block_size(void);

/**
 * Computes the statistics of the cases of a domain under its present tables: how often each state of each
 * family of nodes that are learned is to be expected, or its moments, and the log-likelihood.
 *
 * Tables may have changed since the domain was propagated, and there may be no case at all. The domain's
 * results stay what they are. tv_domain_set_em_concurrency_level sets how many threads take part. Nodes
 * without a name get one (tv_node_get_name).
 *
 * How the cases fall into small problems is found out once, and kept for the next time as long as the domain
 * is compiled and its cases do not change, until tv_em_statistics_set_experience.
 *
 * @param domain      a compiled domain
 * @param first_case  where its cases begin among those of all parts, a multiple of tv_get_em_block_size
 * @return the statistics: free it with tv_em_statistics_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_usage: `first_case` is no such multiple; the domain has continuous nodes and nodes that must be
 *   instantiated; a table depends on results of function nodes; no node is to be learned
 * - tv_status_functional_dependency: function nodes make the order of decisions undefined
 * - tv_status_inconsistency_or_underflow: a case is impossible
 * - tv_status_overflow, tv_status_low_density, tv_status_zero_variance: a case could not be propagated
 */
TV_API tv_em_statistics_t* tv_domain_new_em_statistics(tv_domain_t* domain, size_t first_case);

/**
 * Makes statistics of what is known beforehand: the experience counts of a domain times its present
 * distributions. They are to be made once, before tables change, and added to the statistics of all cases in
 * each iteration; where they are left out, the cases alone decide.
 *
 * Nodes without a name get one (tv_node_get_name).
 *
 * @param domain  a compiled domain, propagated without evidence
 * @return the statistics: free it with tv_em_statistics_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_usage: the domain is not in sum equilibrium, or has evidence or tables to be propagated; it has
 *   continuous nodes and nodes that must be instantiated; a table depends on results of function nodes; no
 *   node is to be learned
 * - tv_status_functional_dependency: function nodes make the order of decisions undefined
 */
TV_API tv_em_statistics_t* tv_domain_new_em_prior(tv_domain_t* domain);

/**
 * Deletes statistics.
 *
 * @param statistics  the statistics
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_em_statistics_delete(tv_em_statistics_t* statistics);

/**
 * Adds the statistics of another part of the cases, or of what is known beforehand.
 *
 * @param statistics  the statistics that grow
 * @param other       those that are added; they stay what they are
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: both have cases of the same block of tv_get_em_block_size, or what is known beforehand;
 *   they are of different networks
 */
TV_API tv_status_t tv_em_statistics_add(tv_em_statistics_t* statistics, const tv_em_statistics_t* other);

/**
 * Counts the cases of statistics, each of them once.
 *
 * @param statistics  the statistics
 * @return how many there are; all ones on failure
 */
TV_API size_t tv_em_statistics_get_number_of_cases(const tv_em_statistics_t* statistics);

/**
 * Counts the cases that lack something. Where there are none, one iteration of learning suffices.
 *
 * @param statistics  the statistics
 * @return how many there are; all ones on failure
 */
TV_API size_t tv_em_statistics_get_number_of_incomplete_cases(const tv_em_statistics_t* statistics);

/**
 * Returns the sum of the counts of the cases (tv_domain_set_case_count).
 *
 * @param statistics  the statistics
 * @return the sum; -1.0 on failure
 */
TV_API double tv_em_statistics_get_case_count(const tv_em_statistics_t* statistics);

/**
 * Returns the log-likelihood of the cases under the tables that the statistics were computed with.
 *
 * @param statistics  the statistics
 * @return the log-likelihood, 0.0 without cases; 1.0 on failure
 */
TV_API double tv_em_statistics_get_log_likelihood(const tv_em_statistics_t* statistics);

/**
 * Writes statistics as bytes, from which tv_domain_parse_em_statistics makes them again, on any machine.
 *
 * @param statistics  the statistics
 * @param[out] size   how many bytes there are
 * @return the bytes, yours: free it with free(); NULL on failure
 */
TV_API void* tv_em_statistics_to_bytes(const tv_em_statistics_t* statistics, size_t* size);

/**
 * Reads statistics from the bytes of tv_em_statistics_to_bytes.
 *
 * Nodes without a name get one (tv_node_get_name).
 *
 * @param domain  a domain with the network that they are of
 * @param bytes   the bytes
 * @param size    how many there are
 * @return the statistics: free it with tv_em_statistics_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_parse: the bytes are no statistics, of another version, or damaged
 * - tv_status_usage: the statistics are of another network, or no node is to be learned
 */
TV_API tv_em_statistics_t* tv_domain_parse_em_statistics(tv_domain_t* domain, const void* bytes, size_t size);

/**
 * Sets the tables of the nodes that are learned to those that make the statistics of all cases, and of what
 * is known beforehand, most likely. Tables that change are to be propagated, as after tv_node_touch_table;
 * the next statistics can be computed at once.
 *
 * @param statistics  the statistics
 * @param domain      a compiled domain with the network that they are of
 * @return tv_status_none, or the code of a failure, after which the tables are what they were
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_usage: the statistics are of another network; the domain has continuous nodes and nodes that
 *   must be instantiated; a table depends on results of function nodes; no node is to be learned
 * - tv_status_functional_dependency: function nodes make the order of decisions undefined
 */
TV_API tv_status_t tv_em_statistics_set_tables(const tv_em_statistics_t* statistics, tv_domain_t* domain);

/**
 * Sets the experience counts of the nodes that are learned to how many cases the statistics expect, beside
 * those that are known beforehand. It is to be done once, after the last iteration.
 *
 * @param statistics  the statistics of all cases and of what is known beforehand
 * @param domain      a compiled domain with the network that they are of
 * @return tv_status_none, or the code of a failure, after which the counts are what they were
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_usage: the statistics are of another network; the domain has continuous nodes and nodes that
 *   must be instantiated; a table depends on results of function nodes; no node is to be learned
 * - tv_status_functional_dependency: function nodes make the order of decisions undefined
 */
TV_API tv_status_t tv_em_statistics_set_experience(const tv_em_statistics_t* statistics, tv_domain_t* domain);

/** @} */

/**
 * @defgroup data Data sets
 * A data set is a table of texts, its *items*, in columns with names: what learning starts from, and what
 * files of comma-separated values hold (docs/data.md). Every item is UTF-8, or missing. Items are not
 * interpreted; what needs numbers reads them as decimal numbers with a point. Rows and columns are counted
 * from 0. All columns have the same number of rows, and without columns there are no rows.
 *
 * A data set belongs to no domain. Different threads may read one at the same time while nobody changes it.
 * @{
 */

/**
 * Creates a data set without columns.
 *
 * @return the data set: free it with tv_data_set_delete; NULL on failure
 */
TV_API tv_data_set_t* tv_new_data_set(void);

/**
 * Deletes a data set. All texts that it has given end with it.
 *
 * @param data  the data set
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_data_set_delete(tv_data_set_t* data);

/**
 * Copies a data set with its settings.
 *
 * @param data  the data set
 * @return the copy: free it with tv_data_set_delete; NULL on failure
 */
TV_API tv_data_set_t* tv_data_set_clone(const tv_data_set_t* data);

/**
 * Counts the rows of a data set.
 *
 * @param data  the data set
 * @return how many there are; all ones on failure
 */
TV_API size_t tv_data_set_get_number_of_rows(const tv_data_set_t* data);

/**
 * Counts the columns of a data set.
 *
 * @param data  the data set
 * @return how many there are; all ones on failure
 */
TV_API size_t tv_data_set_get_number_of_columns(const tv_data_set_t* data);

/**
 * Adds a column behind the last, with every item missing.
 *
 * @param data  the data set
 * @param name  the name, any UTF-8, which no other column has
 * @return the index of the column; all ones on failure
 *
 * @par Failures
 * - tv_status_usage: the name is not UTF-8
 * - tv_status_twice: another column has that name
 */
TV_API size_t tv_data_set_new_column(tv_data_set_t* data, const char* name);

/**
 * Adds a column, with every item missing, in front of another one.
 *
 * @param data    the data set
 * @param column  the index that it will have, at most the number of columns; that one and those behind it
 *                move up
 * @param name    the name, any UTF-8, which no other column has
 * @return the index of the column; all ones on failure
 *
 * @par Failures
 * - tv_status_usage: the index is too large, or the name is not UTF-8
 * - tv_status_twice: another column has that name
 */
TV_API size_t tv_data_set_insert_column(tv_data_set_t* data, size_t column, const char* name);

/**
 * Deletes a column. With the last one the rows are gone, too.
 *
 * @param data    the data set
 * @param column  the column; those behind it move down
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: there is no such column
 */
TV_API tv_status_t tv_data_set_delete_column(tv_data_set_t* data, size_t column);

/**
 * Names a column.
 *
 * @param data    the data set
 * @param column  the column
 * @param name    the name, any UTF-8, which no other column has
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: there is no such column, or the name is not UTF-8
 * - tv_status_twice: another column has that name
 */
TV_API tv_status_t tv_data_set_set_column_name(tv_data_set_t* data, size_t column, const char* name);

/**
 * Returns the name of a column.
 *
 * @param data    the data set
 * @param column  the column
 * @return the name, owned by the data set, until it is changed; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such column
 */
TV_API const char* tv_data_set_get_column_name(const tv_data_set_t* data, size_t column);

/**
 * Finds a column by its name.
 *
 * @param data  the data set
 * @param name  the name
 * @return the index of the column; all ones if there is none (the status is tv_status_none then), or on
 *         failure
 */
TV_API size_t tv_data_set_get_column_by_name(const tv_data_set_t* data, const char* name);

/**
 * Adds a row behind the last, with every item missing.
 *
 * @param data  the data set
 * @return the index of the row; all ones on failure
 *
 * @par Failures
 * - tv_status_usage: there is no column
 */
TV_API size_t tv_data_set_new_row(tv_data_set_t* data);

/**
 * Adds rows, with every item missing, in front of another one or behind the last.
 *
 * @param data   the data set
 * @param row    the index that the first of them will have, at most the number of rows; that row and those
 *               behind it move up
 * @param count  how many
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: `row` is too large, or there is no column
 */
TV_API tv_status_t tv_data_set_insert_rows(tv_data_set_t* data, size_t row, size_t count);

/**
 * Deletes rows. Those behind them move down.
 *
 * @param data   the data set
 * @param row    the first of them
 * @param count  how many
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: there are not so many rows from `row` on
 */
TV_API tv_status_t tv_data_set_delete_rows(tv_data_set_t* data, size_t row, size_t count);

/**
 * Returns an item.
 *
 * @param data    the data set
 * @param row     its row
 * @param column  its column
 * @return the text, owned by the data set, until the data set changes; NULL where the item is missing (the
 *         status is tv_status_none then) or on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such row or column
 */
TV_API const char* tv_data_set_get_item(const tv_data_set_t* data, size_t row, size_t column);

/**
 * Sets an item, whatever the text: what means a missing item in files does not count here.
 *
 * @param data    the data set
 * @param row     its row
 * @param column  its column
 * @param item    the text, in UTF-8; null to make the item missing
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: there is no such row or column, or the text is not UTF-8
 */
TV_API tv_status_t tv_data_set_set_item(tv_data_set_t* data, size_t row, size_t column, const char* item);

/**
 * Says what means a missing item in the files that the data set will be read from, and written to. It is at
 * first nothing at all, a question mark, `NA` and an asterisk.
 *
 * Only cells without quotation marks are compared: what is quoted is an item, whatever it says.
 *
 * @param data   the data set
 * @param texts  the texts, a list of at least one; the first is what is written
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the list is empty, or a text is not UTF-8 or holds a quotation mark or a line end
 */
TV_API tv_status_t tv_data_set_set_missing_texts(tv_data_set_t* data, const char* const* texts);

/**
 * Returns what means a missing item in files.
 *
 * @param data  the data set
 * @return the texts, a list, owned by the data set, until they are set; NULL on failure
 */
TV_API const char* const* tv_data_set_get_missing_texts(const tv_data_set_t* data);

/**
 * Limits the memory that the columns of a data set may take. What needs more fails with
 * tv_status_no_memory; what is there already stays.
 *
 * While a text is read up to twice as much may be needed as afterwards, and half a megabyte.
 *
 * @param data   the data set
 * @param limit  the most bytes; all ones, the default, for no limit
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_data_set_set_memory_limit(tv_data_set_t* data, size_t limit);

/**
 * Returns how much memory the columns of a data set may take.
 *
 * @param data  the data set
 * @return the most bytes, all ones (no limit) until it is set; all ones on failure
 */
TV_API size_t tv_data_set_get_memory_limit(const tv_data_set_t* data);

/**
 * Returns how much memory the columns of a data set take: each distinct item once, and for each row one, two
 * or four bytes.
 *
 * @param data  the data set
 * @return the bytes; all ones on failure
 */
TV_API size_t tv_data_set_get_memory_size(const tv_data_set_t* data);

/**
 * Reads a data set from a file of comma-separated values, or of values between other characters, whose first
 * row holds the names of the columns. The file may be compressed by gzip.
 *
 * Cells may stand between quotation marks, where a doubled one stands for one, and may hold separators and
 * line ends then. Lines end with a line feed, a carriage return, or both. A byte order mark at the beginning
 * is skipped, and so are lines without anything, unless there is just one column. Nothing, `?`, `NA` and `*`
 * mean missing items; tv_data_set_parse_csv reads with other settings.
 *
 * @param file_name     the name of the file
 * @param separator     what stands between cells: an ASCII character, but no quotation mark and no line end
 * @param handler       is told of the error; positions are lines; may be null
 * @param handler_data  a pointer for the handler; may be null
 * @return the data set: free it with tv_data_set_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: the separator is none
 * - tv_status_io: the file could not be opened, read or closed
 * - tv_status_parse: rows differ in length, two columns have one name, a quotation mark is not closed or
 *   stands where none may, or bytes are not UTF-8; or the compressed file is damaged
 */
TV_API tv_data_set_t* tv_csv_parse_data_set(const char* file_name, char separator, tv_error_handler_t handler,
                                            void* handler_data);

/**
 * Replaces the columns of a data set by those of a file of comma-separated values, under the settings of the
 * data set (tv_data_set_set_missing_texts, tv_data_set_set_memory_limit).
 *
 * tv_csv_parse_data_set says what such a file holds.
 *
 * @param data          the data set
 * @param file_name     the name of the file
 * @param separator     what stands between cells: an ASCII character, but no quotation mark and no line end
 * @param handler       is told of the error; positions are lines; may be null
 * @param handler_data  a pointer for the handler; may be null
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the separator is none
 * - tv_status_io: the file could not be opened, read or closed
 * - tv_status_parse: rows differ in length, two columns have one name, a quotation mark is not closed or
 *   stands where none may, or bytes are not UTF-8; or the compressed file is damaged
 */
TV_API tv_status_t tv_data_set_parse_csv(tv_data_set_t* data, const char* file_name, char separator,
                                         tv_error_handler_t handler, void* handler_data);

/**
 * Replaces the columns of a data set by those of comma-separated values from an open stream, up to its end,
 * under the settings of the data set (tv_data_set_set_missing_texts, tv_data_set_set_memory_limit).
 *
 * tv_csv_parse_data_set says what such a text holds. It may be compressed by gzip here, too.
 *
 * @param data          the data set
 * @param stream        the stream, which you close
 * @param separator     what stands between cells: an ASCII character, but no quotation mark and no line end
 * @param handler       is told of the error; positions are lines; may be null
 * @param handler_data  a pointer for the handler; may be null
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the separator is none
 * - tv_status_io: the stream could not be read
 * - tv_status_parse: rows differ in length, two columns have one name, a quotation mark is not closed or
 *   stands where none may, or bytes are not UTF-8; or the compressed text is damaged
 */
TV_API tv_status_t tv_data_set_parse_csv_stream(tv_data_set_t* data, FILE* stream, char separator,
                                                tv_error_handler_t handler, void* handler_data);

/**
 * Replaces the columns of a data set by those of a text of comma-separated values, under the settings of the
 * data set (tv_data_set_set_missing_texts, tv_data_set_set_memory_limit).
 *
 * tv_csv_parse_data_set says what such a text holds.
 *
 * @param data          the data set
 * @param text          the text
 * @param separator     what stands between cells: an ASCII character, but no quotation mark and no line end
 * @param handler       is told of the error; positions are lines; may be null
 * @param handler_data  a pointer for the handler; may be null
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the separator is none
 * - tv_status_parse: rows differ in length, two columns have one name, a quotation mark is not closed or
 *   stands where none may, or bytes are not UTF-8
 */
TV_API tv_status_t tv_data_set_parse_csv_string(tv_data_set_t* data, const char* text, char separator,
                                                tv_error_handler_t handler, void* handler_data);

/**
 * Writes a data set to a file of comma-separated values, from which it can be read again as it is.
 *
 * Missing items are written as the first text of tv_data_set_set_missing_texts. What would be read as
 * something else stands between quotation marks. The file is written anew; after a failure it may be
 * incomplete.
 *
 * @param data       the data set
 * @param file_name  the name of the file
 * @param separator  what stands between cells: an ASCII character, but no quotation mark and no line end
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the separator is none, or part of the text that means a missing item
 * - tv_status_io: the file could not be opened or written
 */
TV_API tv_status_t tv_data_set_save_csv(const tv_data_set_t* data, const char* file_name, char separator);

/**
 * Writes a data set as comma-separated values to an open stream, from which it can be read again as it is.
 *
 * Missing items are written as the first text of tv_data_set_set_missing_texts. What would be read as
 * something else stands between quotation marks.
 *
 * @param data       the data set
 * @param stream     the stream, which you close
 * @param separator  what stands between cells: an ASCII character, but no quotation mark and no line end
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the separator is none, or part of the text that means a missing item
 * - tv_status_io: the stream could not be written
 */
TV_API tv_status_t tv_data_set_write_csv(const tv_data_set_t* data, FILE* stream, char separator);

/**
 * Returns a data set as comma-separated values, from which it can be read again as it is.
 *
 * Missing items are written as the first text of tv_data_set_set_missing_texts. What would be read as
 * something else stands between quotation marks.
 *
 * @param data       the data set
 * @param separator  what stands between cells: an ASCII character, but no quotation mark and no line end
 * @return the text, yours: free it with free(); NULL on failure
 *
 * @par Failures
 * - tv_status_usage: the separator is none, or part of the text that means a missing item
 */
TV_API char* tv_data_set_to_csv_string(const tv_data_set_t* data, char separator);

/**
 * Sorts the rows of a data set by the items of some columns. Rows that agree in all of them stay in their
 * order.
 *
 * Where all items of a column are numbers, they are compared as such, otherwise byte by byte. Missing items
 * come last in either direction.
 *
 * @param data        the data set
 * @param columns     the columns, the one that decides first
 * @param descending  for each of them, 0 if small items come first; null for all of them
 * @param count       how many columns there are
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: there is no such column
 */
TV_API tv_status_t tv_data_set_sort(tv_data_set_t* data, const size_t* columns, const int* descending,
                                    size_t count);

/**
 * Looks through a column for what the tv_column_summary_ functions tell. They go on telling it when the data
 * set changes, but for the texts of items.
 *
 * @param data    the data set
 * @param column  the column
 * @return the summary: free it with tv_column_summary_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such column
 */
TV_API tv_column_summary_t* tv_data_set_describe_column(const tv_data_set_t* data, size_t column);

/**
 * Deletes a summary. The data set stays.
 *
 * @param summary  the summary
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_column_summary_delete(tv_column_summary_t* summary);

/**
 * Returns in how many rows the column has an item.
 *
 * @param summary  the summary
 * @return how many; all ones on failure
 */
TV_API size_t tv_column_summary_get_number_of_items(const tv_column_summary_t* summary);

/**
 * Returns in how many rows the item of the column is missing.
 *
 * @param summary  the summary
 * @return how many; all ones on failure
 */
TV_API size_t tv_column_summary_get_number_of_missing_items(const tv_column_summary_t* summary);

/**
 * Returns how many different items the column has. Those that are written differently are different.
 *
 * @param summary  the summary
 * @return how many; all ones on failure
 */
TV_API size_t tv_column_summary_get_number_of_distinct_items(const tv_column_summary_t* summary);

/**
 * Returns one of the different items of the column, the most frequent first. Of two that are as frequent the
 * one with the smaller bytes comes first.
 *
 * @param summary  the summary
 * @param index    from 0 to the number of distinct items - 1
 * @return the text, owned by the data set, until the data set changes; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: `index` is too large
 */
TV_API const char* tv_column_summary_get_item(const tv_column_summary_t* summary, size_t index);

/**
 * Returns in how many rows the item of tv_column_summary_get_item stands.
 *
 * @param summary  the summary
 * @param index    from 0 to the number of distinct items - 1
 * @return how many; all ones on failure
 *
 * @par Failures
 * - tv_status_usage: `index` is too large
 */
TV_API size_t tv_column_summary_get_item_count(const tv_column_summary_t* summary, size_t index);

/**
 * Tells whether all items of the column are numbers: decimal, with a point and perhaps an exponent, and
 * perhaps with blanks around them.
 *
 * @param summary  the summary
 * @return 1 if they are, 0 if one of them is none or there are no items; -1 on failure
 */
TV_API int tv_column_summary_is_numeric(const tv_column_summary_t* summary);

/**
 * Returns the least number of the column.
 *
 * @param summary  the summary
 * @return the number; -1.0 on failure (which may also be an answer; see tv_error_code)
 *
 * @par Failures
 * - tv_status_no_value: the column is not numeric
 */
TV_API double tv_column_summary_get_least(const tv_column_summary_t* summary);

/**
 * Returns the greatest number of the column.
 *
 * @param summary  the summary
 * @return the number; -1.0 on failure (which may also be an answer; see tv_error_code)
 *
 * @par Failures
 * - tv_status_no_value: the column is not numeric
 */
TV_API double tv_column_summary_get_greatest(const tv_column_summary_t* summary);

/**
 * Returns the mean of the numbers of the column. Rows without an item do not count.
 *
 * @param summary  the summary
 * @return the mean; -1.0 on failure (which may also be an answer; see tv_error_code)
 *
 * @par Failures
 * - tv_status_no_value: the column is not numeric
 */
TV_API double tv_column_summary_get_mean(const tv_column_summary_t* summary);

/**
 * Returns the standard deviation of the numbers of the column as a sample: the squares are divided by one
 * less than there are numbers. Rows without an item do not count.
 *
 * @param summary  the summary
 * @return the standard deviation, 0.0 of a single number; -1.0 on failure
 *
 * @par Failures
 * - tv_status_no_value: the column is not numeric
 */
TV_API double tv_column_summary_get_standard_deviation(const tv_column_summary_t* summary);

/**
 * Parts the range of a column of numbers into intervals of equal width.
 *
 * The bounds increase from the least number to the greatest, as the state values of an interval node do
 * (tv_node_set_state_value); tv_data_set_discretize takes them.
 *
 * @param data                      the data set
 * @param column                    the column
 * @param intervals                 how many intervals, at most 32768
 * @param[out] number_of_intervals  how many there are; fewer only if numbers lie too close together
 * @return the bounds, an array with one more of them than there are intervals: free it with free(); NULL on
 *         failure
 *
 * @par Failures
 * - tv_status_usage: there is no such column; `intervals` is 0 or too large; some item of the column is no
 *   number, or all are the same number
 */
TV_API double* tv_data_set_get_equal_width_bounds(const tv_data_set_t* data, size_t column, size_t intervals,
                                                  size_t* number_of_intervals);

/**
 * Parts the numbers of a column into intervals with about as many rows each. Rows with the same number stay
 * together, so that the least and the most may differ, and there may be fewer intervals.
 *
 * The bounds increase from the least number to the greatest, as the state values of an interval node do
 * (tv_node_set_state_value), with cuts halfway between neighbouring numbers; tv_data_set_discretize takes
 * them.
 *
 * @param data                      the data set
 * @param column                    the column
 * @param intervals                 how many intervals, at most 32768
 * @param[out] number_of_intervals  how many there are
 * @return the bounds, an array with one more of them than there are intervals: free it with free(); NULL on
 *         failure
 *
 * @par Failures
 * - tv_status_usage: there is no such column; `intervals` is 0 or too large; some item of the column is no
 *   number, or all are the same number
 */
TV_API double* tv_data_set_get_equal_frequency_bounds(const tv_data_set_t* data, size_t column,
                                                      size_t intervals, size_t* number_of_intervals);

/**
 * Parts the numbers of a column into the intervals within which they differ least: of all ways to part them
 * the one with the least sum of squared differences from the means of the intervals (k-means, found exactly
 * by dynamic programming; Wang & Song 2011). The time grows with the number of intervals times that of
 * different numbers and its logarithm.
 *
 * The bounds increase from the least number to the greatest, as the state values of an interval node do
 * (tv_node_set_state_value), with cuts halfway between neighbouring numbers; tv_data_set_discretize takes
 * them.
 *
 * @param data                      the data set
 * @param column                    the column
 * @param intervals                 how many intervals, at most 32768
 * @param[out] number_of_intervals  how many there are; fewer only if there are fewer different numbers
 * @return the bounds, an array with one more of them than there are intervals: free it with free(); NULL on
 *         failure
 *
 * @par Failures
 * - tv_status_usage: there is no such column; `intervals` is 0 or too large; some item of the column is no
 *   number, or all are the same number
 * - tv_status_no_memory: the number of intervals times that of different numbers is beyond 2^30
 */
TV_API double* tv_data_set_get_k_means_bounds(const tv_data_set_t* data, size_t column, size_t intervals,
                                              size_t* number_of_intervals);

/**
 * Parts the numbers of a column into intervals that tell of a class, the item of another column: as many as
 * pay for their description (minimum description length; Fayyad & Irani 1993). It is one interval where the
 * numbers tell nothing. Rows that lack the number or the class do not count.
 *
 * The bounds increase from the least number to the greatest, as the state values of an interval node do
 * (tv_node_set_state_value), with cuts halfway between neighbouring numbers; tv_data_set_discretize takes
 * them.
 *
 * @param data                      the data set
 * @param column                    the column
 * @param class_column              the column with the class
 * @param[out] number_of_intervals  how many there are
 * @return the bounds, an array with one more of them than there are intervals: free it with free(); NULL on
 *         failure
 *
 * @par Failures
 * - tv_status_usage: there is no such column; some item of the column is no number, or all are the same
 *   number
 */
TV_API double* tv_data_set_get_class_bounds(const tv_data_set_t* data, size_t column, size_t class_column,
                                            size_t* number_of_intervals);

/**
 * Replaces the numbers of a column by the intervals in which they lie. What is missing stays missing.
 *
 * A number belongs to the interval whose lower bound is at or below it and whose upper bound is above it; one
 * below all bounds to the first interval, one at or above the uppermost bound to the last. So the bounds of
 * one data set serve for another.
 *
 * @param data                 the data set
 * @param column               the column
 * @param bounds               one more than there are intervals, increasing; the outer ones may be infinite
 * @param number_of_intervals  how many intervals there are, 1 to 32768
 * @param labels               an item for each interval; null for its index, from 0
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: there is no such column, the number of intervals is out of range, a label is null or not
 *   UTF-8, or some item of the column is no number
 * - tv_status_invalid_state_values: the bounds do not increase, or an inner one is infinite
 */
TV_API tv_status_t tv_data_set_discretize(tv_data_set_t* data, size_t column, const double* bounds,
                                          size_t number_of_intervals, const char* const* labels);

/** @} */

/**
 * @defgroup prediction Prediction
 * Predictions answer, for each of many rows, what the *targets* are given everything else that the row
 * observes (docs/prediction.md): of a discrete node the distribution and the most probable state, of a
 * continuous one mean and variance. What a row says of a target itself is not used for any answer; it is the
 * truth that measures compare answers with. Rows that agree in what matters are answered once.
 *
 * The domain must be compiled and propagated since its tables last changed. What is entered in it plays no
 * part. Answers are the same, bit for bit, for every number of threads (tv_domain_set_concurrency_level). The
 * progress handler is told of the task "predicting", and can end it.
 * @{
 */

/**
 * Predicts targets for the rows of a data set.
 *
 * Columns are matched to nodes, and items to states, by the rules of tv_domain_add_cases.
 *
 * @param domain        a compiled domain
 * @param data          the data set
 * @param nodes         the node of each column, null for a column that is about none; a null pointer to find
 *                      them by name
 * @param targets       the nodes to predict, discrete or continuous ones, and a null pointer behind them
 * @param unmatched     what becomes of an item that is no observation, and of a column that is about no node
 * @param handler       is told of each such item with the row, counted from 0, as the position; of such a
 *                      column with all ones; may be null
 * @param handler_data  a pointer for the handler; may be null
 * @return the batch of predictions: free it with tv_predictions_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: there is no target, or one is neither discrete nor continuous; a node is of another
 *   domain; a table depends on results of function nodes
 * - tv_status_twice: two columns are about the same node, or a node is a target twice
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: tables have changed since the domain was propagated
 * - tv_status_parse: with tv_unmatched_error, an item is no observation, or a column is about no such node
 * - tv_status_case_state_too_large: a column is about a node of more than 32,768 states that is no target
 * - tv_status_no_memory: also where another state of the domain would go beyond its memory limit
 * - tv_status_error: the progress handler asked to stop
 */
TV_API tv_predictions_t* tv_domain_predict(tv_domain_t* domain, const tv_data_set_t* data,
                                           tv_node_t* const* nodes, tv_node_t* const* targets,
                                           tv_unmatched_t unmatched, tv_error_handler_t handler,
                                           void* handler_data);

/**
 * Predicts targets for the cases that are stored in a domain. Rows are cases; each weighs what its count
 * says.
 *
 * @param domain   a compiled domain
 * @param targets  the nodes to predict, discrete or continuous ones, and a null pointer behind them
 * @return the batch of predictions: free it with tv_predictions_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: there is no target, or one is neither discrete nor continuous, or of another domain; a
 *   table depends on results of function nodes
 * - tv_status_twice: a node is a target twice
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: tables have changed since the domain was propagated
 * - tv_status_no_memory: also where another state of the domain would go beyond its memory limit
 * - tv_status_error: the progress handler asked to stop
 */
TV_API tv_predictions_t* tv_domain_predict_cases(tv_domain_t* domain, tv_node_t* const* targets);

/**
 * Predicts targets for the cases of a domain by cross-validation: the cases are divided at random into folds
 * of equal size, but for one, and those of each fold are predicted from the tables that the cases of the
 * other folds lead to (tv_domain_learn_tables). So no case is predicted from itself.
 *
 * Learning starts from the present tables, experience and settings, each time in a copy of the domain, which
 * itself is left as it was.
 *
 * @param domain   a compiled domain with cases, propagated without evidence
 * @param targets  the nodes to predict, discrete or continuous ones, and a null pointer behind them
 * @param folds    how many, from 2 to the number of cases
 * @param seed     of the division: the same seed divides the same number of cases in the same way, everywhere
 * @return the batch of predictions, a row for each case: free it with tv_predictions_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: there are fewer than 2 folds, or more than cases; there is no target, or one is neither
 *   discrete nor continuous, or of another domain; tv_domain_learn_tables would refuse, for instance because
 *   no node is to be learned
 * - tv_status_twice: a node is a target twice
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: tables have changed since the domain was propagated
 * - tv_status_inconsistency_or_underflow: a case to learn from is impossible
 * - tv_status_no_memory: also where a copy or another state would go beyond the memory limit
 * - tv_status_error: the progress handler asked to stop
 */
TV_API tv_predictions_t* tv_domain_cross_validate(tv_domain_t* domain, tv_node_t* const* targets,
                                                  size_t folds, uint64_t seed);

/**
 * Predicts targets for the rows of a CSV text, and writes the answers as CSV. Some thousand rows are held at
 * a time, so the memory does not depend on their number.
 *
 * tv_csv_parse_data_set says what may be read; columns are matched to nodes, and items to states, by name and
 * the rules of tv_domain_add_cases. A line is written for each row: first the columns to keep, then for each
 * discrete target a column `predicted(name)` with the most probable state, and one `P(name=state)` for each;
 * for each continuous target `mean(name)` and `variance(name)`. Numbers have nine significant digits. The
 * answers about a row that is impossible are missing.
 *
 * @param domain        a compiled domain; targets without a name get one (tv_node_get_name)
 * @param from          an open stream of the text, which may be compressed by gzip; yours to close
 * @param to            an open stream for the answers, yours to close; after a failure they are incomplete
 * @param separator     what stands between items, in both
 * @param missing       the texts that mean a missing item, by the rules of tv_data_set_set_missing_texts; the
 *                      first one is what is written; null for the usual ones
 * @param targets       the nodes to predict, discrete or continuous ones, and a null pointer behind them
 * @param kept_columns  the names of columns to copy to the answers, which need no node; a list that ends with
 *                      a null pointer; may be null
 * @param unmatched     what becomes of an item that is no observation, and of a column that is about no node
 * @param handler       is told of each such item, and of an error in the text, with the line as the position;
 *                      of such a column with all ones; may be null
 * @param handler_data  a pointer for the handler; may be null
 * @param measures      gets measures of the answers where the text has the truth, one for each target: free
 *                      them with tv_measures_delete; left alone on failure; may be null
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: there is no target, or one is neither discrete nor continuous, or of another domain;
 *   there is no such column to keep; the separator or a text that means missing cannot be one; a table
 *   depends on results of function nodes
 * - tv_status_twice: two columns are about the same node, or a node is a target twice
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: tables have changed since the domain was propagated
 * - tv_status_parse: the text is no such CSV; with tv_unmatched_error, an item or a column fits no node
 * - tv_status_case_state_too_large: a column is about a node of more than 32,768 states that is no target
 * - tv_status_io: the text could not be read, or the answers not be written
 * - tv_status_no_memory: also where another state of the domain would go beyond its memory limit
 * - tv_status_error: the progress handler asked to stop
 */
TV_API tv_status_t tv_domain_predict_csv(tv_domain_t* domain, FILE* from, FILE* to, char separator,
                                         const char* const* missing, tv_node_t* const* targets,
                                         const char* const* kept_columns, tv_unmatched_t unmatched,
                                         tv_error_handler_t handler, void* handler_data,
                                         tv_measures_t** measures);

/**
 * Deletes predictions. They do not depend on the domain.
 *
 * @param predictions  the predictions
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_predictions_delete(tv_predictions_t* predictions);

/**
 * Returns for how many rows there are predictions.
 *
 * @param predictions  the predictions
 * @return how many; all ones on failure
 */
TV_API size_t tv_predictions_get_number_of_rows(const tv_predictions_t* predictions);

/**
 * Returns how many nodes are predicted. Targets are counted from 0 in the order in which they were given.
 *
 * @param predictions  the predictions
 * @return how many; all ones on failure
 */
TV_API size_t tv_predictions_get_number_of_targets(const tv_predictions_t* predictions);

/**
 * Tells whether what a row observes is possible at all. If not, there is no answer for any target.
 *
 * @param predictions  the predictions
 * @param row          the row
 * @return 1 or 0; -1 on failure
 */
TV_API int tv_predictions_is_possible(const tv_predictions_t* predictions, size_t row);

/**
 * Returns how probable a state of a discrete target is, given what a row observes.
 *
 * @param predictions  the predictions
 * @param row          the row
 * @param target       the target
 * @param state        the state
 * @return the probability; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: the target is not discrete; there is no such row, target or state
 * - tv_status_inconsistency_or_underflow: the row is impossible
 */
TV_API double tv_predictions_get_probability(const tv_predictions_t* predictions, size_t row, size_t target,
                                             size_t state);

/**
 * Returns the most probable state of a discrete target, given what a row observes: of several the first.
 *
 * @param predictions  the predictions
 * @param row          the row
 * @param target       the target
 * @return the state; all ones on failure
 *
 * @par Failures
 * - tv_status_usage: the target is not discrete; there is no such row or target
 * - tv_status_inconsistency_or_underflow: the row is impossible
 */
TV_API size_t tv_predictions_get_state(const tv_predictions_t* predictions, size_t row, size_t target);

/**
 * Returns the mean of a continuous target, given what a row observes.
 *
 * @param predictions  the predictions
 * @param row          the row
 * @param target       the target
 * @return the mean; -1.0 on failure (which may also be an answer; see tv_error_code)
 *
 * @par Failures
 * - tv_status_usage: the target is not continuous; there is no such row or target
 * - tv_status_inconsistency_or_underflow: the row is impossible
 */
TV_API double tv_predictions_get_mean(const tv_predictions_t* predictions, size_t row, size_t target);

/**
 * Returns the variance of a continuous target, given what a row observes.
 *
 * @param predictions  the predictions
 * @param row          the row
 * @param target       the target
 * @return the variance; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: the target is not continuous; there is no such row or target
 * - tv_status_inconsistency_or_underflow: the row is impossible
 */
TV_API double tv_predictions_get_variance(const tv_predictions_t* predictions, size_t row, size_t target);

/**
 * Returns the state in which a discrete target was observed.
 *
 * @param predictions  the predictions
 * @param row          the row
 * @param target       the target
 * @return the state; all ones on failure
 *
 * @par Failures
 * - tv_status_usage: the target is not discrete; there is no such row or target
 * - tv_status_no_value: it was not observed
 */
TV_API size_t tv_predictions_get_true_state(const tv_predictions_t* predictions, size_t row, size_t target);

/**
 * Returns the value of which a continuous target was observed.
 *
 * @param predictions  the predictions
 * @param row          the row
 * @param target       the target
 * @return the value; -1.0 on failure (which may also be an answer; see tv_error_code)
 *
 * @par Failures
 * - tv_status_usage: the target is not continuous; there is no such row or target
 * - tv_status_no_value: it was not observed
 */
TV_API double tv_predictions_get_true_value(const tv_predictions_t* predictions, size_t row, size_t target);

/**
 * Compares the predictions of a target with the states or values that were observed.
 *
 * @param predictions  the predictions
 * @param target       the target
 * @return the record of measures: free it with tv_measures_delete; NULL on failure
 */
TV_API tv_measures_t* tv_predictions_new_measures(const tv_predictions_t* predictions, size_t target);

/**
 * Deletes measures.
 *
 * @param measures  the measures
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_measures_delete(tv_measures_t* measures);

/**
 * Returns of how many rows the truth was known and an answer could be given; cases weigh what their counts
 * say. The other measures are about these rows.
 *
 * @param measures  the measures
 * @return how many; -1.0 on failure
 */
TV_API double tv_measures_get_number_of_rows(const tv_measures_t* measures);

/**
 * Returns of how many rows the truth was known, but what they observe is impossible.
 *
 * @param measures  the measures
 * @return how many; -1.0 on failure
 */
TV_API double tv_measures_get_number_of_impossible_rows(const tv_measures_t* measures);

/**
 * Returns the mean of -ln p, where p is the probability given to the true state. Of a continuous target p is
 * the density of a normal distribution with the predicted mean and variance; rows with variance 0 add nothing
 * if the mean is right.
 *
 * @param measures  the measures
 * @return the loss, which is infinite where the truth was thought impossible; -1.0 on failure (which may also
 *         be an answer for a continuous target; see tv_error_code)
 *
 * @par Failures
 * - tv_status_no_value: there are no rows to compare
 */
TV_API double tv_measures_get_log_loss(const tv_measures_t* measures);

/**
 * Returns the mean of the squared distance between the predicted distribution and the truth, from 0 to 2: the
 * sum, over the states, of (p - 1)^2 for the true state and of p^2 for each other one (Brier 1950).
 *
 * @param measures  the measures of a discrete target
 * @return the score; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: the target is not discrete
 * - tv_status_no_value: there are no rows to compare
 */
TV_API double tv_measures_get_brier_score(const tv_measures_t* measures);

/**
 * Returns the share of rows whose most probable state is the true one.
 *
 * @param measures  the measures of a discrete target
 * @return the share; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: the target is not discrete
 * - tv_status_no_value: there are no rows to compare
 */
TV_API double tv_measures_get_accuracy(const tv_measures_t* measures);

/**
 * Returns the mean of the squared difference between the predicted mean and the truth.
 *
 * @param measures  the measures of a continuous target
 * @return the error; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: the target is not continuous
 * - tv_status_no_value: there are no rows to compare
 */
TV_API double tv_measures_get_mean_squared_error(const tv_measures_t* measures);

/**
 * Returns the mean of the absolute difference between the predicted mean and the truth.
 *
 * @param measures  the measures of a continuous target
 * @return the error; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: the target is not continuous
 * - tv_status_no_value: there are no rows to compare
 */
TV_API double tv_measures_get_mean_absolute_error(const tv_measures_t* measures);

/**
 * Returns an entry of the confusion matrix: how many rows are in one state and were predicted to be in
 * another, or the same.
 *
 * @param measures   the measures of a discrete target
 * @param state      the true state
 * @param predicted  the most probable state
 * @return how many; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: the target is not discrete, or there is no such state
 */
TV_API double tv_measures_get_confusion(const tv_measures_t* measures, size_t state, size_t predicted);

/**
 * Returns the area under the receiver operating characteristic curve of a state against all others: how often
 * a row that is in the state gives it a greater probability than a row that is not; equal ones count half
 * (Hanley & McNeil 1982).
 * Probabilities that agree in single precision count as equal; beyond 65,536 of them, or 524,288 divided by
 * the number of states where that is less, neighbours do, too.
 *
 * @param measures  the measures of a discrete target
 * @param state     the state
 * @return the area, from 0 to 1; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: the target is not discrete, or there is no such state
 * - tv_status_no_value: there are no rows in the state, or none in another one
 */
TV_API double tv_measures_get_area_under_curve(tv_measures_t* measures, size_t state);

/** @} */

/**
 * @defgroup structure Structures from data
 * Finds links from the cases of a domain (docs/structure.md). A *learner* says how: by which method, with
 * which settings, and what experts know. What it finds in a domain is a *structure*: a graph that belongs to
 * no domain, with directed and undirected links between nodes that are known by name, and what was found
 * out about each pair. tv_domain_set_structure gives a domain its links; the numbers come after that, by
 * tv_domain_learn_tables.
 *
 * All chance nodes take part that the learner does not leave out (tv_structure_learner_leave_out_node); other
 * nodes and the present links play no part. Nodes are taken in the order of the bytes of their names, so that
 * neither their order in the domain nor the number of threads makes a difference, and the same seed gives the
 * same result everywhere. The progress handler of the domain is told of the task "learning the structure",
 * and can end it.
 *
 * Where cells are missing, each number comes from the cases that lack none of the nodes that it is about,
 * unless the learner asks for structural EM.
 * @{
 */

/**
 * Makes a learner with the settings that each function below names as initial, and no constraints.
 *
 * A learner belongs to no domain. Different threads may use one at the same time while nobody changes it.
 *
 * @return the learner: free it with tv_structure_learner_delete; NULL on failure
 */
TV_API tv_structure_learner_t* tv_new_structure_learner(void);

/**
 * Deletes a learner.
 *
 * @param learner  the learner
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_structure_learner_delete(tv_structure_learner_t* learner);

/** How a structure is found. */
typedef TV_INT_ENUM {
  /** The answer of a failed query. */
  tv_structure_method_error = -1,
  /** Links are removed that a test of independence finds none for: the stable form of the PC algorithm
   *  (Colombo & Maathuis 2014). The result is partially directed. */
  tv_structure_method_tests = 0,
  /** Links are added, removed and reversed one at a time as long as the score grows, with a tabu list and
   *  restarts. */
  tv_structure_method_greedy,
  /** The graph of the greatest score, by dynamic programming over sets of nodes (Silander & Myllymäki
   *  2006); for up to some 25 nodes. */
  tv_structure_method_exact,
  /** The tree of the greatest mutual information (Chow & Liu 1968), or a forest where links are not worth
   *  their score. */
  tv_structure_method_tree,
  /** Links from the target to all other nodes. */
  tv_structure_method_naive_bayes,
  /** Naive Bayes with a tree between the other nodes (Friedman, Geiger & Goldszmidt 1997). */
  tv_structure_method_tan,
  /** Naive Bayes with hidden nodes between the target and groups of other nodes (Langseth & Nielsen 2006). */
  tv_structure_method_hierarchical
} tv_structure_method_t;

/**
 * Sets how structures are found; initially by tests.
 *
 * @param learner  the learner
 * @param method   the method
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: there is no such method
 */
TV_API tv_status_t tv_structure_learner_set_method(tv_structure_learner_t* learner,
                                                   tv_structure_method_t method);

/**
 * Returns how structures are found.
 *
 * @param learner  the learner
 * @return the method; tv_structure_method_error on failure
 */
TV_API tv_structure_method_t tv_structure_learner_get_method(const tv_structure_learner_t* learner);

/** Tests of whether two discrete nodes are independent given others, which are discrete. */
typedef TV_INT_ENUM {
  /** The answer of a failed query. */
  tv_independence_test_error = -1,
  /** Twice the log-likelihood ratio, G² (Wilks 1938). */
  tv_independence_test_g_squared = 0,
  /** The sum of squared deviations from what is expected, over what is expected, X² (Pearson 1900). */
  tv_independence_test_chi_squared
} tv_independence_test_t;

/**
 * Sets by which test of independence links are removed; initially G².
 *
 * Degrees of freedom are counted over what occurs: in each configuration of the other nodes, the states of
 * one node that occur less one, times those of the other less one. Where continuous nodes are among those
 * tested, likelihood ratios of conditional Gaussian distributions are used whatever is set here.
 *
 * @param learner  the learner
 * @param test     the test
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: there is no such test
 */
TV_API tv_status_t tv_structure_learner_set_test(tv_structure_learner_t* learner,
                                                 tv_independence_test_t test);

/**
 * Returns by which test of independence links are removed.
 *
 * @param learner  the learner
 * @return the test; tv_independence_test_error on failure
 */
TV_API tv_independence_test_t tv_structure_learner_get_test(const tv_structure_learner_t* learner);

/**
 * Sets the level of significance of tests: a link is removed where some test of its nodes gives a p-value
 * above it. Initially 0.05.
 *
 * @param learner       the learner
 * @param significance  the level, above 0 and below 1
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the level is not between 0 and 1
 */
TV_API tv_status_t tv_structure_learner_set_significance(tv_structure_learner_t* learner,
                                                         double significance);

/**
 * Returns the level of significance of tests.
 *
 * @param learner  the learner
 * @return the level; -1.0 on failure
 */
TV_API double tv_structure_learner_get_significance(const tv_structure_learner_t* learner);

/**
 * Sets how many cases a test needs for each degree of freedom that the tested nodes could have. With fewer it
 * is refused, which removes no link, and counted (tv_structure_get_number_of_refused_tests). Initially 1;
 * more makes tests of nodes with many states more reliable, and keeps more links between them.
 *
 * @param learner  the learner
 * @param cases    how many, finite and not negative; 0 for no such rule
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the number is negative or not finite
 */
TV_API tv_status_t tv_structure_learner_set_cases_per_degree(tv_structure_learner_t* learner, double cases);

/**
 * Returns how many cases a test needs for each degree of freedom.
 *
 * @param learner  the learner
 * @return how many; -1.0 on failure
 */
TV_API double tv_structure_learner_get_cases_per_degree(const tv_structure_learner_t* learner);

/**
 * Sets given how many other nodes two nodes are tested at most; initially there is no limit.
 *
 * @param learner  the learner
 * @param size     how many; all ones for no limit
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_structure_learner_set_max_conditioning_size(tv_structure_learner_t* learner,
                                                                  size_t size);

/**
 * Returns given how many other nodes two nodes are tested at most.
 *
 * @param learner  the learner
 * @return how many, all ones where there is no limit; also all ones on failure
 */
TV_API size_t tv_structure_learner_get_max_conditioning_size(const tv_structure_learner_t* learner);

/** Which unshielded triples a - c - b become colliders a -> c <- b. */
typedef TV_INT_ENUM {
  /** The answer of a failed query. */
  tv_collider_rule_error = -1,
  /** Those whose middle is not in the set that separated a and b. */
  tv_collider_rule_plain = 0,
  /** Those whose middle is in no set of neighbours that separates a and b (Ramsey, Zhang & Spirtes 2006). */
  tv_collider_rule_conservative,
  /** Those whose middle is in less than half of these sets (Colombo & Maathuis 2014). */
  tv_collider_rule_majority
} tv_collider_rule_t;

/**
 * Sets how colliders are recognised; initially by the plain rule.
 *
 * @param learner  the learner
 * @param rule     the rule
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: there is no such rule
 */
TV_API tv_status_t tv_structure_learner_set_collider_rule(tv_structure_learner_t* learner,
                                                          tv_collider_rule_t rule);

/**
 * Returns how colliders are recognised.
 *
 * @param learner  the learner
 * @return the rule; tv_collider_rule_error on failure
 */
TV_API tv_collider_rule_t tv_structure_learner_get_collider_rule(const tv_structure_learner_t* learner);

/** What makes one structure better than another: a sum over families, each a node with its parents. */
typedef TV_INT_ENUM {
  /** The answer of a failed query. */
  tv_structure_score_error = -1,
  /** The log-likelihood less half of the free parameters times the logarithm of the number of cases
   *  (Schwarz 1978). */
  tv_structure_score_bic = 0,
  /** The log-likelihood less the free parameters (Akaike 1974). */
  tv_structure_score_aic,
  /** The log-likelihood alone, which more links never lower. */
  tv_structure_score_log_likelihood,
  /** The logarithm of the probability of the cases under uniform Dirichlet distributions that are worth
   *  so many cases altogether for each family (Heckerman, Geiger & Chickering 1995); discrete nodes alone. */
  tv_structure_score_bdeu,
  /** The same logarithm where each distribution is uniform beforehand (Cooper & Herskovits 1992); discrete
   *  nodes alone. */
  tv_structure_score_k2
} tv_structure_score_t;

/**
 * Sets what is maximised; initially BIC.
 *
 * @param learner  the learner
 * @param score    the score
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: there is no such score
 */
TV_API tv_status_t tv_structure_learner_set_score(tv_structure_learner_t* learner,
                                                  tv_structure_score_t score);

/**
 * Returns what is maximised.
 *
 * @param learner  the learner
 * @return the score; tv_structure_score_error on failure
 */
TV_API tv_structure_score_t tv_structure_learner_get_score(const tv_structure_learner_t* learner);

/**
 * Sets what the prior distributions of the score BDeu are worth; initially 1 case.
 *
 * @param learner  the learner
 * @param size     the equivalent sample size, positive and finite
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the size is not positive, or not finite
 */
TV_API tv_status_t tv_structure_learner_set_equivalent_sample_size(tv_structure_learner_t* learner,
                                                                   double size);

/**
 * Returns what the prior distributions of the score BDeu are worth.
 *
 * @param learner  the learner
 * @return the equivalent sample size; -1.0 on failure
 */
TV_API double tv_structure_learner_get_equivalent_sample_size(const tv_structure_learner_t* learner);

/**
 * Sets how many parents a node has at most in the greedy and the exact search; initially there is no limit.
 *
 * @param learner  the learner
 * @param count    how many; all ones for no limit
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_structure_learner_set_max_parents(tv_structure_learner_t* learner, size_t count);

/**
 * Returns how many parents a node has at most.
 *
 * @param learner  the learner
 * @return how many, all ones where there is no limit; also all ones on failure
 */
TV_API size_t tv_structure_learner_get_max_parents(const tv_structure_learner_t* learner);

/**
 * Sets how heavy the cliques of what the greedy search finds are at most, as
 * tv_domain_triangulate(domain, tv_method_best_greedy) finds them: the sum over all cliques of the numbers of
 * their configurations. So what is learned can be propagated. Initially there is no limit.
 *
 * @param learner  the learner
 * @param weight   the limit; 0 for none
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the weight is negative or not a number
 */
TV_API tv_status_t tv_structure_learner_set_max_total_weight(tv_structure_learner_t* learner, double weight);

/**
 * Returns how heavy the cliques of what the greedy search finds are at most.
 *
 * @param learner  the learner
 * @return the limit, 0 where there is none; -1.0 on failure
 */
TV_API double tv_structure_learner_get_max_total_weight(const tv_structure_learner_t* learner);

/**
 * Sets for how many steps the greedy search goes on where no step is better, without returning to a graph of
 * before (Glover 1989); initially 100.
 *
 * @param learner  the learner
 * @param steps    how many; 0 to end at the first local maximum
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_structure_learner_set_tabu_steps(tv_structure_learner_t* learner, size_t steps);

/**
 * Returns for how many steps the greedy search goes on where no step is better.
 *
 * @param learner  the learner
 * @return how many; all ones on failure
 */
TV_API size_t tv_structure_learner_get_tabu_steps(const tv_structure_learner_t* learner);

/**
 * Sets how often the greedy search starts again from the best graph so far, with some links changed at
 * random; initially 0.
 *
 * @param learner   the learner
 * @param restarts  how often
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_structure_learner_set_restarts(tv_structure_learner_t* learner, size_t restarts);

/**
 * Returns how often the greedy search starts again.
 *
 * @param learner  the learner
 * @return how often; all ones on failure
 */
TV_API size_t tv_structure_learner_get_restarts(const tv_structure_learner_t* learner);

/**
 * Sets what everything random follows: restarts, samples of the bootstrap, completions of cases. Initially 1.
 *
 * @param learner  the learner
 * @param seed     any number
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_structure_learner_set_seed(tv_structure_learner_t* learner, uint64_t seed);

/**
 * Returns what everything random follows.
 *
 * @param learner  the learner
 * @return the seed; all ones on failure
 */
TV_API uint64_t tv_structure_learner_get_seed(const tv_structure_learner_t* learner);

/**
 * Sets on how many threads a structure is learned; initially 1. The result does not depend on it.
 *
 * @param learner  the learner
 * @param level    how many, at least 1
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the level is 0
 */
TV_API tv_status_t tv_structure_learner_set_concurrency_level(tv_structure_learner_t* learner, size_t level);

/**
 * Returns on how many threads a structure is learned.
 *
 * @param learner  the learner
 * @return how many; all ones on failure
 */
TV_API size_t tv_structure_learner_get_concurrency_level(const tv_structure_learner_t* learner);

/**
 * Sets the node that naive Bayes and its extensions classify, or that a tree has as its root.
 *
 * @param learner  the learner
 * @param name     the name of the node; may be null for none, which it is initially
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_structure_learner_set_target(tv_structure_learner_t* learner, const char* name);

/**
 * Returns the node that is classified, or that a tree has as its root.
 *
 * @param learner  the learner
 * @return the name of the node, owned by the learner; NULL where there is none, and on failure
 */
TV_API const char* tv_structure_learner_get_target(const tv_structure_learner_t* learner);

/**
 * Says whether a tree, also that of TAN, keeps links that the score does not find worth their parameters;
 * initially it does, so that it connects all nodes. Where it does not, the result is a forest.
 *
 * @param learner   the learner
 * @param spanning  1 to keep them, 0 to leave them out
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_structure_learner_set_spanning(tv_structure_learner_t* learner, int spanning);

/**
 * Tells whether a tree keeps links that are not worth their parameters.
 *
 * @param learner  the learner
 * @return 1 or 0; -1 on failure
 */
TV_API int tv_structure_learner_get_spanning(const tv_structure_learner_t* learner);

/**
 * Sets how often structural EM (Friedman 1998) completes the cases and learns a structure from them before it
 * ends, at the latest; initially 0, which is not to complete them.
 *
 * Missing cells are completed at random, as they are distributed given what the case observes under the
 * network found so far, whose tables have been learned by EM; then the method learns from the complete cases.
 * This is repeated until the score of the observed cells does not grow: AIC or the log-likelihood where the
 * learner maximises these, else BIC. There is no structural EM of hierarchical structures.
 *
 * @param learner  the learner
 * @param rounds   how often
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_structure_learner_set_max_completions(tv_structure_learner_t* learner, size_t rounds);

/**
 * Returns how often structural EM completes the cases at the latest.
 *
 * @param learner  the learner
 * @return how often, 0 where cases are not completed; all ones on failure
 */
TV_API size_t tv_structure_learner_get_max_completions(const tv_structure_learner_t* learner);

/**
 * Leaves a node out of what is learned, such as a number that only names the case.
 *
 * @param learner  the learner
 * @param name     the name of the node
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_structure_learner_leave_out_node(tv_structure_learner_t* learner, const char* name);

/**
 * Demands a directed link. Like all constraints, it holds in every method, and whether it can be met is found
 * out before anything is learned (tv_domain_check_constraints).
 *
 * @param learner  the learner
 * @param from     the name of the parent
 * @param to       the name of the child
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the names are equal
 */
TV_API tv_status_t tv_structure_learner_require_link(tv_structure_learner_t* learner, const char* from,
                                                     const char* to);

/**
 * Demands a link between two nodes, in either direction.
 *
 * @param learner  the learner
 * @param a        the name of one node
 * @param b        the name of the other
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the names are equal
 */
TV_API tv_status_t tv_structure_learner_require_adjacency(tv_structure_learner_t* learner, const char* a,
                                                          const char* b);

/**
 * Forbids a directed link; one in the other direction may be found.
 *
 * @param learner  the learner
 * @param from     the name of the parent
 * @param to       the name of the child
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the names are equal
 */
TV_API tv_status_t tv_structure_learner_forbid_link(tv_structure_learner_t* learner, const char* from,
                                                    const char* to);

/**
 * Forbids links between two nodes, in either direction.
 *
 * @param learner  the learner
 * @param a        the name of one node
 * @param b        the name of the other
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the names are equal
 */
TV_API tv_status_t tv_structure_learner_forbid_adjacency(tv_structure_learner_t* learner, const char* a,
                                                         const char* b);

/**
 * Puts a node into a tier: no link leads to a node of an earlier tier, one with a smaller number. Nodes in no
 * tier may have links in all directions.
 *
 * @param learner  the learner
 * @param name     the name of the node
 * @param tier     the number of the tier
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the node is in another tier already
 */
TV_API tv_status_t tv_structure_learner_set_tier(tv_structure_learner_t* learner, const char* name,
                                                 size_t tier);

/**
 * Forbids links between the nodes of a tier.
 *
 * @param learner  the learner
 * @param tier     the number of the tier
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_structure_learner_forbid_links_in_tier(tv_structure_learner_t* learner, size_t tier);

/**
 * Forgets all constraints. Nodes that are left out stay left out.
 *
 * @param learner  the learner
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_structure_learner_clear_constraints(tv_structure_learner_t* learner);

/**
 * Adds the constraints of a file (docs/file-formats.md). After an error the constraints are those of before.
 *
 * @param learner       the learner
 * @param file_name     the name of the file
 * @param handler       is told every message; positions are lines; may be null
 * @param handler_data  a pointer for the handler; may be null
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_io: the file could not be opened, read or closed
 * - tv_status_parse: the file breaks the rules
 * - tv_status_locale: the "C" locale could not be selected
 */
TV_API tv_status_t tv_structure_learner_parse_constraints(tv_structure_learner_t* learner,
                                                          const char* file_name, tv_error_handler_t handler,
                                                          void* handler_data);

/**
 * Adds the constraints of a text in the form of their files. After an error the constraints are those of
 * before.
 *
 * @param learner       the learner
 * @param text          the text
 * @param handler       is told every message; positions are numbers of characters; may be null
 * @param handler_data  a pointer for the handler; may be null
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_parse: the text breaks the rules
 * - tv_status_locale: the "C" locale could not be selected
 */
TV_API tv_status_t tv_structure_learner_parse_constraints_string(tv_structure_learner_t* learner,
                                                                 const char* text, tv_error_handler_t handler,
                                                                 void* handler_data);

/**
 * Writes all constraints in the form of their files.
 *
 * @param learner  the learner
 * @return the text, yours: free it with free(); NULL on failure
 */
TV_API char* tv_structure_learner_constraints_to_string(const tv_structure_learner_t* learner);

/**
 * Looks for contradictions between the constraints, the settings and the nodes of a domain: names that no
 * node has, links that are required and forbidden, required links that close a cycle, that lead to an earlier
 * tier, from a continuous to a discrete node, to more parents than the limit, or that the method cannot have.
 *
 * @param domain        the domain
 * @param learner       the learner
 * @param handler       is told of every contradiction, with all ones as the position; may be null
 * @param handler_data  a pointer for the handler; may be null
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: there is a contradiction
 * - tv_status_cyclic_network: the required links close a cycle
 */
TV_API tv_status_t tv_domain_check_constraints(tv_domain_t* domain, const tv_structure_learner_t* learner,
                                               tv_error_handler_t handler, void* handler_data);

/**
 * Learns a structure from the cases of a domain, which stays as it is. Nodes without a name get one
 * (tv_node_get_name).
 *
 * Where the progress handler ends the greedy search or structural EM after a first structure was found, the
 * best one so far is the result, and tv_structure_is_finished tells.
 *
 * @param domain   the domain, compiled or not
 * @param learner  the learner
 * @return the structure: free it with tv_structure_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: there is no case, or no node to learn from; all cells of a node are missing; a
 *   constraint cannot be met; the method needs a target, a discrete one for classification, and there is no
 *   such node; the score is for discrete nodes alone
 * - tv_status_cyclic_network: the required links close a cycle
 * - tv_status_size_too_large: the required parents of a node have more configurations than counts can index;
 *   the exact search has more nodes than it can index
 * - tv_status_no_memory: also where the search needs more than the memory limit of the domain
 * - tv_status_error: the progress handler asked to stop
 */
TV_API tv_structure_t* tv_domain_learn_structure(tv_domain_t* domain, const tv_structure_learner_t* learner);

/**
 * Makes a structure of the present links between the chance nodes of a domain, directed and undirected.
 * Nodes without a name get one (tv_node_get_name).
 *
 * @param domain  the domain
 * @return the structure: free it with tv_structure_delete; NULL on failure
 */
TV_API tv_structure_t* tv_domain_get_structure(tv_domain_t* domain);

/**
 * Gives a domain the links of a structure: those between its nodes become the links of the structure, all
 * others stay. Undirected links are directed before (tv_structure_direct says how). Hidden nodes are added.
 *
 * A node whose parents change gets a uniform distribution, its experience counts become 0 and its fading
 * factors 1, and it has no model any more. Its parents are in the order in which tv_node_add_parent leaves
 * them when those of the structure are added by name. The domain is uncompiled unless no link changes.
 *
 * @param domain     the domain
 * @param structure  the structure
 * @return tv_status_none, or the code of a failure, after which the domain is what it was
 *
 * @par Failures
 * - tv_status_usage: the domain has no chance node of a name, or it has undirected links; a discrete node
 *   would have a continuous parent; links of the structure close a cycle, or cannot be directed
 * - tv_status_twice: the domain has a node with the name of a hidden one already
 * - tv_status_cyclic_network: links between other nodes would close a cycle with those of the structure
 * - tv_status_cyclic_functional_dependency: function nodes would depend on themselves
 */
TV_API tv_status_t tv_domain_set_structure(tv_domain_t* domain, const tv_structure_t* structure);

/**
 * Copies a structure.
 *
 * @param structure  the structure
 * @return the copy: free it with tv_structure_delete; NULL on failure
 */
TV_API tv_structure_t* tv_structure_clone(const tv_structure_t* structure);

/**
 * Deletes a structure.
 *
 * @param structure  the structure
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_structure_delete(tv_structure_t* structure);

/**
 * Tells whether learning came to its end, and was not stopped by the progress handler.
 *
 * @param structure  the structure
 * @return 1 or 0; -1 on failure
 */
TV_API int tv_structure_is_finished(const tv_structure_t* structure);

/**
 * Counts the nodes of a structure, which are numbered from 0 in the order of the bytes of their names.
 *
 * @param structure  the structure
 * @return how many there are; all ones on failure
 */
TV_API size_t tv_structure_get_number_of_nodes(const tv_structure_t* structure);

/**
 * Returns the name of a node of a structure.
 *
 * @param structure  the structure
 * @param node       the node, below the number of nodes
 * @return the name, owned by the structure; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such node
 */
TV_API const char* tv_structure_get_node_name(const tv_structure_t* structure, size_t node);

/**
 * Finds a node of a structure by its name.
 *
 * @param structure  the structure
 * @param name       the name
 * @return the node; all ones where there is none, and on failure
 */
TV_API size_t tv_structure_get_node_by_name(const tv_structure_t* structure, const char* name);

/**
 * Returns how many states a hidden node has that the method has added.
 *
 * @param structure  the structure
 * @param node       the node, below the number of nodes
 * @return how many, 0 for a node that is not hidden; all ones on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such node
 */
TV_API size_t tv_structure_get_hidden_states(const tv_structure_t* structure, size_t node);

/**
 * Counts the links of a structure, directed and not.
 *
 * @param structure  the structure
 * @return how many there are; all ones on failure
 */
TV_API size_t tv_structure_get_number_of_links(const tv_structure_t* structure);

/** What is between two nodes of a structure. */
typedef TV_INT_ENUM {
  /** The answer of a failed query. */
  tv_structure_link_error = -1,
  /** No link. */
  tv_structure_link_none = 0,
  /** A link from the first to the second node. */
  tv_structure_link_directed,
  /** A link from the second to the first node. */
  tv_structure_link_reversed,
  /** A link whose direction is open. */
  tv_structure_link_undirected
} tv_structure_link_t;

/**
 * Returns a link of a structure: directed ones as they lead, and all in the order of their first and then of
 * their second node, which of an undirected one is the later.
 *
 * @param structure  the structure
 * @param link       the index of the link, below the number of links
 * @param[out] from  its first node
 * @param[out] to    its second node
 * @return tv_structure_link_directed or tv_structure_link_undirected; tv_structure_link_error on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such link
 */
TV_API tv_structure_link_t tv_structure_get_link(const tv_structure_t* structure, size_t link, size_t* from,
                                                 size_t* to);

/**
 * Tells what is between two nodes of a structure.
 *
 * @param structure  the structure
 * @param a          a node, below the number of nodes
 * @param b          another one
 * @return what there is; tv_structure_link_error on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such node, or the two are the same
 */
TV_API tv_structure_link_t tv_structure_get_link_between(const tv_structure_t* structure, size_t a, size_t b);

/**
 * Returns the p-value of two nodes, where the structure was learned by tests: of the test that removed their
 * link, or the greatest of all tests that did not.
 *
 * @param structure  the structure
 * @param a          a node, below the number of nodes
 * @param b          another one
 * @return the p-value; -1.0 where the two were not tested, and on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such node, or the two are the same
 */
TV_API double tv_structure_get_p_value(const tv_structure_t* structure, size_t a, size_t b);

/**
 * Returns the set that separated two nodes, where the structure was learned by tests: given these others, a
 * test found them independent.
 *
 * @param structure   the structure
 * @param a           a node, below the number of nodes
 * @param b           another one
 * @param[out] count  how many nodes there are in the set
 * @return the nodes in ascending order, owned by the structure; NULL where no test separated the two, and on
 *         failure
 *
 * @par Failures
 * - tv_status_usage: there is no such node, or the two are the same
 */
TV_API const size_t* tv_structure_get_separating_set(const tv_structure_t* structure, size_t a, size_t b,
                                                     size_t* count);

/**
 * Counts the tests of independence that were made.
 *
 * @param structure  the structure
 * @return how many there were; all ones on failure
 */
TV_API size_t tv_structure_get_number_of_tests(const tv_structure_t* structure);

/**
 * Counts the tests that were refused because cases are too few
 * (tv_structure_learner_set_cases_per_degree). Those of two nodes given equally many neighbours of one of
 * them count once where they need not even be looked at, because one neighbour has too many states.
 *
 * @param structure  the structure
 * @return how many there were; all ones on failure
 */
TV_API size_t tv_structure_get_number_of_refused_tests(const tv_structure_t* structure);

/**
 * Returns the score of a structure that was learned by score, or as a tree or classifier without hidden
 * nodes: the one that the learner was set to. After structural EM it is that of the observed cells.
 *
 * @param structure  the structure
 * @return the score; 1.0 where there is none, and on failure
 */
TV_API double tv_structure_get_score(const tv_structure_t* structure);

/**
 * Directs all undirected links, so that neither a cycle nor a new collider of nodes without a link arises
 * (Dor & Tarsi 1992): again and again, the first node in the order of the names that can be made a child of
 * all its undirected neighbours is made one. Where this is not possible, since tests contradict each other,
 * it is a node with the fewest new colliders, and no cycle arises.
 *
 * @param structure  the structure
 * @return tv_status_none, or the code of a failure, after which the structure is what it was
 *
 * @par Failures
 * - tv_status_usage: the directed links close a cycle, or constraints leave no way
 */
TV_API tv_status_t tv_structure_direct(tv_structure_t* structure);

/**
 * Makes the structure of the equivalence class of a structure without undirected links: those links are
 * directed that have the same direction in all graphs with the same independences (Verma & Pearl 1990;
 * Meek 1995). It has no score, and nothing that tests found.
 *
 * @param structure  the structure, without cycles
 * @return the class: free it with tv_structure_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: a link is undirected, or the links close a cycle
 */
TV_API tv_structure_t* tv_structure_new_class(const tv_structure_t* structure);

/**
 * Counts the pairs of nodes between which two structures differ: a link that only one of them has, or that
 * has another direction or none (Tsamardinos, Brown & Aliferis 2006). Nodes are compared by name; of those
 * that only one structure has, every link counts.
 *
 * @param a  one structure
 * @param b  the other
 * @return the structural Hamming distance; all ones on failure
 */
TV_API size_t tv_structure_get_hamming_distance(const tv_structure_t* a, const tv_structure_t* b);

/**
 * Counts the ordered pairs of nodes for which one structure gives a wrong effect: where adjusting for the
 * parents that the first node has in the guess does not identify the effect on the second one in the truth
 * (Peters & Bühlmann 2015).
 *
 * @param truth  the structure that is taken for right, without undirected links or cycles
 * @param guess  the one that is compared with it, with nodes of the same names, without undirected links or
 *               cycles
 * @return the structural intervention distance; all ones on failure
 *
 * @par Failures
 * - tv_status_usage: the nodes have other names; a link is undirected; the links of one close a cycle
 */
TV_API size_t tv_structure_get_intervention_distance(const tv_structure_t* truth,
                                                     const tv_structure_t* guess);

/**
 * Learns a structure from each of many samples of the cases (Friedman, Goldszmidt & Wyner 1999), to tell how
 * sure its links are. Each sample has as many cases as the domain, drawn with replacement. Structures without
 * a direction count as such: those of tests as they are, all others as their equivalence classes.
 *
 * Nodes without a name get one (tv_node_get_name). Hidden nodes are not compared, so there is no bootstrap of
 * hierarchical structures.
 *
 * @param domain   the domain, compiled or not
 * @param learner  the learner
 * @param samples  how many, at least 1
 * @return the bootstrap: free it with tv_bootstrap_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: `samples` is 0; the method finds hierarchical structures, or completes cases; there is
 *   no case, or no node to learn from; all cells of a node are missing; a constraint cannot be met; the
 *   target is missing or wrong; the score is for discrete nodes alone
 * - tv_status_cyclic_network: the required links close a cycle
 * - tv_status_size_too_large: a search has more to index than counts can
 * - tv_status_no_memory: also where a search needs more than the memory limit of the domain
 * - tv_status_error: the progress handler asked to stop
 */
TV_API tv_bootstrap_t* tv_domain_bootstrap_structure(tv_domain_t* domain,
                                                     const tv_structure_learner_t* learner, size_t samples);

/**
 * Deletes a bootstrap.
 *
 * @param bootstrap  the bootstrap
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_bootstrap_delete(tv_bootstrap_t* bootstrap);

/**
 * Counts the samples of a bootstrap.
 *
 * @param bootstrap  the bootstrap
 * @return how many there are; all ones on failure
 */
TV_API size_t tv_bootstrap_get_number_of_samples(const tv_bootstrap_t* bootstrap);

/**
 * Returns in which share of the samples there was a link of this kind between two nodes.
 *
 * @param bootstrap  the bootstrap
 * @param a          the number of a node, in the order of the bytes of the names
 * @param b          that of another one
 * @param link       tv_structure_link_none for no link, tv_structure_link_directed for one from a to b,
 *                   tv_structure_link_reversed for one from b to a, tv_structure_link_undirected for one
 *                   whose direction is open
 * @return the share, from 0 to 1; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such node or kind, or the two are the same
 */
TV_API double tv_bootstrap_get_frequency(const tv_bootstrap_t* bootstrap, size_t a, size_t b,
                                         tv_structure_link_t link);

/**
 * Makes a structure of the links that were found often enough in either direction: each has the direction
 * that was found more often, or none where both were found equally often. A link that would close a cycle
 * with others, which were found more often, has no direction.
 *
 * @param bootstrap  the bootstrap
 * @param threshold  in which share of the samples a link was found at least, from 0 to 1
 * @return the structure: free it with tv_structure_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: the threshold is not between 0 and 1
 */
TV_API tv_structure_t* tv_bootstrap_new_structure(const tv_bootstrap_t* bootstrap, double threshold);

/**
 * Tunes the tables of a naive-Bayes classifier to fewer wrong classifications (El Hindi 2014), after they
 * were learned from the cases.
 *
 * In each pass over the cases, one that is classified wrongly moves the probabilities of what it observes:
 * up given its true class, down given the one that it was taken for, by steps that become smaller as both
 * come closer. A part of the cases, chosen by the seed, is held out; passes end when these are no longer
 * classified better, and the tables are those of the best pass, so that they are never classified worse than
 * before. Cases whose class is missing play no part. The domain's evidence is not looked at.
 *
 * @param target            the class: a discrete chance node without parents, whose children, at least one,
 *                          are discrete chance nodes without another parent; none has a model
 * @param held_out          the share of the cases that decide when to stop, above 0 and below 1
 * @param max_passes        how many passes are made at most
 * @param rate              how large steps are, positive and finite; 0.01 is common
 * @param seed              chooses the cases that are held out
 * @param[out] before       the share of those that was classified wrongly before; may be null
 * @param[out] after        the share afterwards; may be null
 * @return tv_status_none, or the code of a failure, after which the tables are what they were
 *
 * @par Failures
 * - tv_status_usage: the node is not such a class; a share or the rate is out of range; no case is held out,
 *   or none is left
 * - tv_status_error: the progress handler asked to stop
 */
TV_API tv_status_t tv_node_tune_classifier(tv_node_t* target, double held_out, size_t max_passes, double rate,
                                           uint64_t seed, double* before, double* after);

/** @} */

/**
 * @defgroup separation Separation of nodes
 * Which nodes can tell something about which others, read off the links alone, by d-separation (Pearl 1988):
 * what is separated is independent, whatever the tables say. Nothing is compiled or computed from tables;
 * each question takes time in proportion to the nodes and links.
 *
 * What is known comes as two lists. Nodes whose state or value is *known* let nothing through, but connect
 * their parents; nodes with *likelihood* evidence connect their parents and let everything through. A node in
 * both lists is known. Where both lists are null, the evidence that is entered on the domain counts.
 *
 * Function nodes are nodes like any other, the real-valued ones included. So are decisions, whose policies
 * may depend on their parents, until their state is known: it stands in the place of the policy, and the
 * decision hangs on its parents no longer. No evidence is entered on utilities and real-valued functions.
 * Networks with undirected links (chain graphs) are refused.
 * @{
 */

/**
 * Lists the nodes that are d-connected to some given ones: all that what is learned about these can be of any
 * consequence for. Found by the search of Shachter (1998).
 *
 * Given nodes that are known already connect to nothing.
 *
 * @param domain      the domain
 * @param nodes       the nodes to start from, and a null pointer behind them
 * @param known       the nodes whose state or value is known, and a null pointer behind them; may be null
 * @param likelihood  the nodes with likelihood evidence, and a null pointer behind them; may be null. Where
 *                    both are null, what is entered on the domain counts
 * @return the list, in the order of the domain's nodes, without the nodes to start from and without those
 *         that are known, owned by the caller: free() it; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: a node is of another domain, or evidence is supposed on one that takes none; the network
 *   has undirected links
 */
TV_API tv_node_t** tv_domain_get_d_connected_nodes(tv_domain_t* domain, tv_node_t* const* nodes,
                                                   tv_node_t* const* known, tv_node_t* const* likelihood);

/**
 * Tells whether two sets of nodes are d-separated by the evidence: then they are independent given it.
 *
 * Nodes of the sets that are known are left out, and a node in both sets that is not known connects them.
 *
 * @param domain      the domain
 * @param nodes1      the one set of nodes, and a null pointer behind them
 * @param nodes2      the other set, and a null pointer behind them
 * @param known       the nodes whose state or value is known, and a null pointer behind them; may be null
 * @param likelihood  the nodes with likelihood evidence, and a null pointer behind them; may be null. Where
 *                    both are null, what is entered on the domain counts
 * @return 1 if they are, 0 if not; -1 on failure
 *
 * @par Failures
 * - tv_status_usage: a node is of another domain, or evidence is supposed on one that takes none; the network
 *   has undirected links
 */
TV_API int tv_domain_are_d_separated(tv_domain_t* domain, tv_node_t* const* nodes1, tv_node_t* const* nodes2,
                                     tv_node_t* const* known, tv_node_t* const* likelihood);

/**
 * Finds a smallest choice of nodes to observe, in the sense that none of them can be spared, which together
 * with what is known d-separates two sets of nodes.
 *
 * It is one near the first set (van der Zander & Liskiewicz 2020; Tian, Paz & Pearl 1998).
 * Without `allowed`, every chance node and every discrete function node may be observed.
 *
 * @param domain      the domain
 * @param nodes1      the one set of nodes, and a null pointer behind them
 * @param nodes2      the other set, and a null pointer behind them
 * @param known       the nodes whose state or value is known, and a null pointer behind them; may be null
 * @param likelihood  the nodes with likelihood evidence, and a null pointer behind them; may be null. Where
 *                    both are null, what is entered on the domain counts
 * @param allowed     the nodes that may be observed, and a null pointer behind them; may be null
 * @return the list, without nodes that are known and in the order of the domain's nodes, empty if the sets
 *         are separated already, owned by the caller: free() it; NULL with tv_status_none where no choice
 *         separates them, as when a link joins them; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: a node is of another domain, or evidence is supposed on one that takes none; a decision
 *   is to be observed; the network has undirected links
 */
TV_API tv_node_t** tv_domain_get_minimal_separator(tv_domain_t* domain, tv_node_t* const* nodes1,
                                                   tv_node_t* const* nodes2, tv_node_t* const* known,
                                                   tv_node_t* const* likelihood, tv_node_t* const* allowed);

/**
 * Lists the nodes whose tables matter for some targets given the evidence: the requisite probability nodes of
 * Shachter (1998). The tables of all other nodes may be anything without changing what is known of the
 * targets.
 *
 * @param domain      the domain
 * @param targets     the nodes that are asked about, and a null pointer behind them
 * @param known       the nodes whose state or value is known, and a null pointer behind them; may be null
 * @param likelihood  the nodes with likelihood evidence, and a null pointer behind them; may be null. Where
 *                    both are null, what is entered on the domain counts
 * @return the list, in the order of the domain's nodes, owned by the caller: free() it; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: a node is of another domain, or evidence is supposed on one that takes none; the network
 *   has undirected links
 */
TV_API tv_node_t** tv_domain_get_requisite_nodes(tv_domain_t* domain, tv_node_t* const* targets,
                                                 tv_node_t* const* known, tv_node_t* const* likelihood);

/**
 * Lists the nodes on which evidence matters for some targets: the requisite observations of Shachter (1998).
 * All other evidence might be left out.
 *
 * @param domain      the domain
 * @param targets     the nodes that are asked about, and a null pointer behind them
 * @param known       the nodes whose state or value is known, and a null pointer behind them; may be null
 * @param likelihood  the nodes with likelihood evidence, and a null pointer behind them; may be null. Where
 *                    both are null, what is entered on the domain counts
 * @return the list, in the order of the domain's nodes, owned by the caller: free() it; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: a node is of another domain, or evidence is supposed on one that takes none; the network
 *   has undirected links
 */
TV_API tv_node_t** tv_domain_get_requisite_findings(tv_domain_t* domain, tv_node_t* const* targets,
                                                    tv_node_t* const* known, tv_node_t* const* likelihood);

/**
 * Lists the barren nodes: those that are neither targets nor have evidence, and have none of them among their
 * descendants. They could be deleted without changing what is known of the targets.
 *
 * @param domain      the domain
 * @param targets     the nodes that are asked about, and a null pointer behind them
 * @param known       the nodes whose state or value is known, and a null pointer behind them; may be null
 * @param likelihood  the nodes with likelihood evidence, and a null pointer behind them; may be null. Where
 *                    both are null, what is entered on the domain counts
 * @return the list, in the order of the domain's nodes, owned by the caller: free() it; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: a node is of another domain, or evidence is supposed on one that takes none; the network
 *   has undirected links
 */
TV_API tv_node_t** tv_domain_get_barren_nodes(tv_domain_t* domain, tv_node_t* const* targets,
                                              tv_node_t* const* known, tv_node_t* const* likelihood);

/**
 * Lists the Markov blanket of a node: its parents, its children and the other parents of its children. When
 * all of them are known, nothing else is of any consequence for it (Pearl 1988).
 *
 * Utility nodes among the children, and their parents, do not count: nothing is ever known of a utility.
 *
 * @param node  the node
 * @return the list, in the order of the domain's nodes, owned by the caller: free() it; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: the network has undirected links
 */
TV_API tv_node_t** tv_node_get_markov_blanket(tv_node_t* node);

/** @} */

/**
 * @defgroup simulation Simulation
 * Drawing at random from what a network describes: a state for each discrete node and a value for each
 * continuous one, jointly, and with them the values of functions and utilities.
 *
 * A domain that is compiled is drawn from as it was propagated: from the joint distribution given the
 * propagated evidence, exactly, and with the values of continuous nodes given the states of discrete ones,
 * not as mixtures of moments. Evidence that is entered but not propagated plays no part. Where no evidence
 * bears on a node, it is drawn given its parents (Henrion 1988); elsewhere backwards along the order in which
 * the nodes were eliminated (Dawid 1992). A domain that is not compiled is drawn from as its tables say, as
 * long as no evidence is entered.
 *
 * Decisions that are not made follow policies, discrete functions the tables that results gave them; an
 * approximation (tv_domain_approximate) does not count. Deviates are the domain's (tv_domain_seed_random):
 * one seed gives the same draws for any number of threads. A call that fails leaves the generator as it was.
 * @{
 */

/**
 * Draws a configuration of all nodes of a domain, to be read with tv_node_get_sampled_state,
 * tv_node_get_sampled_value and tv_node_get_sampled_utility until the next one is drawn or the structure of
 * the domain changes.
 *
 * Real-valued function nodes and utilities have the values that the drawn states and values give them.
 *
 * @param domain  the domain
 * @return tv_status_none, or the code of a failure, after which the former configuration is still there
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled, but evidence is entered on it, it has undirected
 *   links, or a table depends on results of function nodes
 * - tv_status_no_equilibrium: nothing valid is propagated, or tables have changed since
 * - tv_status_usage: the domain was propagated with max equilibrium or for fast retraction
 * - tv_status_invalid_probability_potential: a table of a domain that is not compiled has a number that is
 *   negative or no number, or a distribution that sums to zero
 * - tv_status_invalid_expression, tv_status_invalid_state_values, tv_status_insufficient_state_range,
 *   tv_status_inappropriate_arguments, tv_status_division_by_zero, tv_status_computation_failed,
 *   tv_status_io: the table of a node of a domain that is not compiled could not be generated from its model;
 *   tv_node_generate_table says when
 * - tv_status_no_memory: also when the tables for the nodes on which evidence bears go beyond the memory
 *   limit (tv_domain_set_memory_limit)
 * - tv_status_inconsistency_or_underflow: a table that was changed without notice has made the evidence
 *   impossible
 * - tv_status_error: the progress handler asked to stop (its task is "simulation")
 */
TV_API tv_status_t tv_domain_simulate(tv_domain_t* domain);

/**
 * Gives the state of a discrete node in the configuration that was drawn last.
 *
 * @param node  a discrete node
 * @return the state; all ones on failure
 *
 * @par Failures
 * - tv_status_usage: not a discrete node
 * - tv_status_no_value: no configuration has been drawn since the structure last changed
 */
TV_API size_t tv_node_get_sampled_state(const tv_node_t* node);

/**
 * Gives the value of a node in the configuration that was drawn last: that of a continuous node or of a
 * real-valued function node; of a numbered node the value of its state, of an interval node the middle of its
 * interval.
 *
 * @param node  a node that stands for a number, but no utility node
 * @return the value; -1.0 on failure (which may also be an answer; see tv_error_code)
 *
 * @par Failures
 * - tv_status_usage: the node stands for no number, or is a utility node
 * - tv_status_no_value: no configuration has been drawn since the structure last changed, or the function has
 *   no value in it
 * - tv_status_invalid_state_values: the interval has no middle, or the state no value
 */
TV_API double tv_node_get_sampled_value(const tv_node_t* node);

/**
 * Gives the utility of a utility node in the configuration that was drawn last.
 *
 * @param node  a utility node
 * @return the utility; -1.0 on failure (which may also be an answer; see tv_error_code)
 *
 * @par Failures
 * - tv_status_usage: not a utility node
 * - tv_status_no_value: no configuration has been drawn since the structure last changed, or the table of the
 *   utility depends on results that were not there
 */
TV_API double tv_node_get_sampled_utility(const tv_node_t* node);

/**
 * Draws configurations and stores them as cases of the domain, behind those that are there: of all discrete
 * and continuous nodes, or with cells left out at random.
 *
 * A case takes the deviates of tv_domain_simulate, and then, if cells are left out, one for each node in the
 * order of the domain's nodes. The configuration that was drawn last is left alone.
 *
 * @param domain         the domain
 * @param count          how many cases
 * @param missing_share  the probability with which each cell is left out, from 0 to 1
 * @return tv_status_none, or the code of a failure, after which the cases are what they were
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled, but evidence is entered on it, it has undirected
 *   links, or a table depends on results of function nodes
 * - tv_status_no_equilibrium: nothing valid is propagated, or tables have changed since
 * - tv_status_usage: the share is out of range; the domain was propagated with max equilibrium or for fast
 *   retraction
 * - tv_status_case_state_too_large: a node has more than 32,768 states
 * - tv_status_invalid_probability_potential: a table of a domain that is not compiled has a number that is
 *   negative or no number, or a distribution that sums to zero
 * - tv_status_invalid_expression, tv_status_invalid_state_values, tv_status_insufficient_state_range,
 *   tv_status_inappropriate_arguments, tv_status_division_by_zero, tv_status_computation_failed,
 *   tv_status_io: the table of a node of a domain that is not compiled could not be generated from its model;
 *   tv_node_generate_table says when
 * - tv_status_no_memory: also when the tables for the nodes on which evidence bears go beyond the memory
 *   limit (tv_domain_set_memory_limit)
 * - tv_status_inconsistency_or_underflow: a table that was changed without notice has made the evidence
 *   impossible
 * - tv_status_error: the progress handler asked to stop (its task is "simulation")
 */
TV_API tv_status_t tv_domain_simulate_cases(tv_domain_t* domain, size_t count, double missing_share);

/**
 * Draws configurations as the rows of a new data set, with a column for each discrete and continuous node:
 * what tv_domain_simulate_cases and tv_domain_cases_to_data_set would make of a domain without cases.
 *
 * @param domain         the domain; nodes without a name get one
 * @param count          how many rows
 * @param missing_share  the probability with which each item is left out, from 0 to 1
 * @return the data set: free it with tv_data_set_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_not_compiled: the domain is not compiled, but evidence is entered on it, it has undirected
 *   links, or a table depends on results of function nodes
 * - tv_status_no_equilibrium: nothing valid is propagated, or tables have changed since
 * - tv_status_usage: the share is out of range; the domain was propagated with max equilibrium or for fast
 *   retraction
 * - tv_status_case_state_too_large: a node has more than 32,768 states
 * - tv_status_invalid_probability_potential: a table of a domain that is not compiled has a number that is
 *   negative or no number, or a distribution that sums to zero
 * - tv_status_invalid_expression, tv_status_invalid_state_values, tv_status_insufficient_state_range,
 *   tv_status_inappropriate_arguments, tv_status_division_by_zero, tv_status_computation_failed,
 *   tv_status_io: the table of a node of a domain that is not compiled could not be generated from its model;
 *   tv_node_generate_table says when
 * - tv_status_no_memory: also when the tables for the nodes on which evidence bears go beyond the memory
 *   limit (tv_domain_set_memory_limit)
 * - tv_status_inconsistency_or_underflow: a table that was changed without notice has made the evidence
 *   impossible
 * - tv_status_error: the progress handler asked to stop (its task is "simulation")
 */
TV_API tv_data_set_t* tv_domain_simulate_data_set(tv_domain_t* domain, size_t count, double missing_share);

/** @} */

/**
 * @defgroup configurations Most probable configurations
 * A *configuration* gives each of some discrete nodes a state. The most probable ones, given what is entered
 * in a compiled domain, tell whole stories, where beliefs tell about one node at a time.
 *
 * Nothing needs to be propagated, and the domain is left as it was. Decisions without evidence take part with
 * their policies. The progress handler is told of the task "finding configurations", and can end it.
 * @{
 */

/**
 * Finds the most probable configurations of all discrete nodes.
 *
 * Exact, from one collection of maxima through the junction trees; each further configuration costs about a
 * path through a tree (Nilsson 1998). Of configurations that are equally probable, any may come first, but
 * always the same one.
 *
 * @param domain  a compiled domain without continuous nodes
 * @param count   how many; there are fewer where fewer are possible
 * @return a list of configurations: free it with tv_configurations_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: `count` is 0; the domain has continuous nodes (tv_domain_find_configurations_of has room
 *   for them); a table depends on results of function nodes
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: tables have changed since the domain was propagated
 * - tv_status_invalid_evidence: the evidence may not be propagated (tv_domain_propagate)
 * - tv_status_inconsistency_or_underflow: the evidence is impossible, or too improbable
 * - tv_status_error: the progress handler asked to stop
 */
TV_API tv_configurations_t* tv_domain_find_configurations(tv_domain_t* domain, size_t count);

/**
 * Finds the most probable configurations of some discrete nodes, with all other nodes summed out, and
 * continuous ones integrated out.
 *
 * Exact, by branch and bound: a node after the other gets a state, and what cannot be as probable as needed
 * is left out. The bounds come from the junction trees (Park and Darwiche 2003; Yuan and Hansen 2009); in a
 * domain with continuous nodes from propagation. Finding them may take time exponential in the number of
 * nodes, which `max_steps` limits.
 *
 * @param domain           a compiled domain
 * @param nodes            discrete nodes, and a null pointer behind them
 * @param count            how many configurations at most
 * @param min_probability  how probable each must be, given the evidence; 0 for any
 * @param max_steps        how often a state may be given to a node; 0 for no limit. When that is spent,
 *                         what has been found so far is returned (tv_configurations_is_complete)
 * @return a list of configurations, which is yours: free it with tv_configurations_delete;
 *         NULL on failure
 *
 * @par Failures
 * - tv_status_usage: `count` is 0; `min_probability` is not in [0, 1]; there is no node, or one is not
 *   discrete or of another domain; a table depends on results of function nodes
 * - tv_status_twice: a node stands twice in the list
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: tables have changed since the domain was propagated
 * - tv_status_invalid_evidence: the evidence may not be propagated (tv_domain_propagate)
 * - tv_status_inconsistency_or_underflow: the evidence is impossible, or too improbable
 * - tv_status_error: the progress handler asked to stop
 */
TV_API tv_configurations_t* tv_domain_find_configurations_of(tv_domain_t* domain, tv_node_t* const* nodes,
                                                             size_t count, double min_probability,
                                                             size_t max_steps);

/**
 * Deletes configurations. They do not depend on the domain.
 *
 * @param configurations  the configurations
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_configurations_delete(tv_configurations_t* configurations);

/**
 * Returns how many configurations were found.
 *
 * @param configurations  the configurations
 * @return how many; all ones on failure
 */
TV_API size_t tv_configurations_get_number(const tv_configurations_t* configurations);

/**
 * Returns the state of a node in a configuration; that of an observed node is the one that was observed.
 *
 * @param configurations  the configurations
 * @param index           of the configuration; 0 is the most probable one
 * @param node            one of the nodes asked for
 * @return the index of the state; -1 on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such configuration, or the node is not one of those asked for
 */
TV_API ptrdiff_t tv_configurations_get_state(const tv_configurations_t* configurations, size_t index,
                                             const tv_node_t* node);

/**
 * Returns how probable a configuration is, given the evidence.
 *
 * @param configurations  the configurations
 * @param index           of the configuration; 0 is the most probable one
 * @return the probability; 0 where it is too small for a double; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such configuration
 */
TV_API double tv_configurations_get_probability(const tv_configurations_t* configurations, size_t index);

/**
 * Returns the natural logarithm of the probability of a configuration, given the evidence.
 *
 * @param configurations  the configurations
 * @param index           of the configuration; 0 is the most probable one
 * @return the logarithm, 0 or less; -1.0 on failure, which tv_error_code tells from an answer
 *
 * @par Failures
 * - tv_status_usage: there is no such configuration
 */
TV_API double tv_configurations_get_log_probability(const tv_configurations_t* configurations, size_t index);

/**
 * Returns how probable it is, given the evidence, that none of the configurations is the case.
 *
 * @param configurations  the configurations
 * @return one less the sum of their probabilities; -1.0 on failure
 */
TV_API double tv_configurations_get_remaining_probability(const tv_configurations_t* configurations);

/**
 * Returns a bound for the probability of each configuration that was not found: that of the last one where as
 * many as asked for were found, else `min_probability`; where the search was ended, what it had not ruled
 * out.
 *
 * @param configurations  the configurations
 * @return the bound; -1.0 on failure
 */
TV_API double tv_configurations_get_bound(const tv_configurations_t* configurations);

/**
 * Returns whether the search came to its end, so that no configuration is missing that was asked for.
 *
 * @param configurations  the configurations
 * @return 1 or 0; -1 on failure
 */
TV_API int tv_configurations_is_complete(const tv_configurations_t* configurations);

/** @} */

/**
 * @defgroup sensitivity Sensitivity to parameters
 * Which numbers of a model matter for an answer, and how wrong they may be. The *parameters* are the entries
 * of the tables of discrete chance nodes. When one of them becomes t, the others of its distribution keep
 * their proportions (where they are zero, they get equal shares); an answer is then (a t + b) / (c t + d)
 * (Castillo, Gutierrez and Hadi 1997; Coupe and van der Gaag 2002). All constants are exact, from one
 * collection and one distribution of sums, also for parameters that are zero.
 *
 * The evidence is what is entered in a compiled domain without continuous nodes; nothing needs to be
 * propagated, and the domain is left as it was. A result keeps what it needs: it tells about the tables as
 * they were, and its nodes are only as good as the domain.
 * @{
 */

/**
 * Analyzes the probability of a hypothesis, given the evidence.
 *
 * @param node   the node of the hypothesis
 * @param state  its state
 * @return the result, about the parameters in the junction tree of the node (no others matter): free it with
 *         tv_sensitivity_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: the node is not discrete, has no such state or a single one, or is observed; the domain
 *   has continuous nodes; a table depends on results of function nodes
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: tables have changed since the domain was propagated
 * - tv_status_invalid_evidence: the evidence may not be propagated (tv_domain_propagate)
 * - tv_status_inconsistency_or_underflow: the evidence is impossible, or too improbable
 */
TV_API tv_sensitivity_t* tv_node_analyze_sensitivity(tv_node_t* node, size_t state);

/**
 * Analyzes the expected utility of a domain, given the evidence and the present policies.
 *
 * @param domain  a compiled domain with utility nodes
 * @return the result, about the parameters in the junction trees of utility nodes: free it with
 *         tv_sensitivity_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: the domain has no utility nodes; a table depends on results of function nodes
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: tables have changed since the domain was propagated
 * - tv_status_invalid_evidence: the evidence may not be propagated (tv_domain_propagate)
 * - tv_status_inconsistency_or_underflow: the evidence is impossible, or too improbable
 */
TV_API tv_sensitivity_t* tv_domain_analyze_utility_sensitivity(tv_domain_t* domain);

/**
 * Analyzes the probability of the evidence, as a multiple of what it is at present. Read all
 * tv_sensitivity_get_evidence_derivative of the result for the gradient of its logarithm.
 *
 * @param domain  a compiled domain
 * @return the result, about all parameters: free it with tv_sensitivity_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: the domain has continuous nodes; a table depends on results of function nodes
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: tables have changed since the domain was propagated
 * - tv_status_invalid_evidence: the evidence may not be propagated (tv_domain_propagate)
 * - tv_status_inconsistency_or_underflow: the evidence is impossible, or too improbable
 */
TV_API tv_sensitivity_t* tv_domain_analyze_evidence_sensitivity(tv_domain_t* domain);

/**
 * Finds the probability of a hypothesis as a function of two parameters t1 and t2:
 * (n0 + n1 t1 + n2 t2 + n3 t1 t2) / (d0 + d1 t1 + d2 t2 + d3 t1 t2). Within one distribution, what is left of
 * it keeps its proportions.
 *
 * @param node         the node of the hypothesis
 * @param state        its state
 * @param node1        the node whose table the first parameter is in
 * @param index1       the index of its entry there
 * @param node2        the node whose table the second parameter is in
 * @param index2       the index of its entry there
 * @param[out] numerator    gets the four numbers n0 to n3
 * @param[out] denominator  gets the four numbers d0 to d3
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: the node is not discrete, has no such state or a single one, or is observed; node1 or
 *   node2 is of another domain or has no such parameter; the domain has continuous nodes; a table depends on
 *   results of function nodes
 * - tv_status_twice: both parameters are the same one
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: tables have changed since the domain was propagated
 * - tv_status_invalid_evidence: the evidence may not be propagated (tv_domain_propagate)
 * - tv_status_inconsistency_or_underflow: the evidence is impossible, or too improbable
 */
TV_API tv_status_t tv_node_get_two_way_sensitivity(tv_node_t* node, size_t state, const tv_node_t* node1,
                                                   size_t index1, const tv_node_t* node2, size_t index2,
                                                   double* numerator, double* denominator);

/**
 * Deletes the result of an analysis.
 *
 * @param sensitivity  the result
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_sensitivity_delete(tv_sensitivity_t* sensitivity);

/**
 * Returns the answer that was analyzed: a probability, an expected utility, or 1 for the evidence.
 *
 * @param sensitivity  the result
 * @return the value; -1.0 on failure, which tv_error_code tells from an answer
 */
TV_API double tv_sensitivity_get_value(const tv_sensitivity_t* sensitivity);

/**
 * Returns how many parameters there are.
 *
 * @param sensitivity  the result
 * @return how many; all ones on failure
 */
TV_API size_t tv_sensitivity_get_number_of_parameters(const tv_sensitivity_t* sensitivity);

/**
 * Returns where a parameter stands among all.
 *
 * @param sensitivity  the result
 * @param node         the node whose table it is in
 * @param index        the index of its entry there
 * @return its index for the functions below; all ones on failure
 *
 * @par Failures
 * - tv_status_usage: this is not one of the parameters
 */
TV_API size_t tv_sensitivity_find_parameter(const tv_sensitivity_t* sensitivity, const tv_node_t* node,
                                            size_t index);

/**
 * Returns the node whose table a parameter is in.
 *
 * @param sensitivity  the result
 * @param index        of the parameter; 0 is the one that matters most
 * @return the node, owned by its domain; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such parameter
 */
TV_API tv_node_t* tv_sensitivity_get_node(const tv_sensitivity_t* sensitivity, size_t index);

/**
 * Returns the entry of the table of its node that a parameter is (tv_table_get_configuration_from_index).
 *
 * @param sensitivity  the result
 * @param index        of the parameter
 * @return the index of the entry; all ones on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such parameter
 */
TV_API size_t tv_sensitivity_get_table_index(const tv_sensitivity_t* sensitivity, size_t index);

/**
 * Returns the present value of a parameter.
 *
 * @param sensitivity  the result
 * @param index        of the parameter
 * @return the value, in [0, 1]; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such parameter
 */
TV_API double tv_sensitivity_get_parameter(const tv_sensitivity_t* sensitivity, size_t index);

/**
 * Returns the derivative of the answer with respect to a parameter, at its present value, where the others of
 * the distribution keep their proportions.
 *
 * @param sensitivity  the result
 * @param index        of the parameter
 * @return the derivative; -1.0 on failure, which tv_error_code tells from an answer
 *
 * @par Failures
 * - tv_status_usage: there is no such parameter
 */
TV_API double tv_sensitivity_get_derivative(const tv_sensitivity_t* sensitivity, size_t index);

/**
 * Returns the derivative of the natural logarithm of the probability of the evidence with respect to a
 * parameter by itself, all others staying as they are: what learning by gradients needs (Russell et al.
 * 1995).
 *
 * @param sensitivity  the result
 * @param index        of the parameter
 * @return the derivative, 0 or more; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such parameter
 */
TV_API double tv_sensitivity_get_evidence_derivative(const tv_sensitivity_t* sensitivity, size_t index);

/**
 * Returns the constants of the answer as a function (a t + b) / (c t + d) of a parameter t. They are scaled
 * so that the denominator is 1 at the present value, where it stands for the probability of the evidence.
 *
 * @param sensitivity  the result
 * @param index        of the parameter
 * @param[out] constants    gets the four numbers a, b, c, d
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: there is no such parameter
 */
TV_API tv_status_t tv_sensitivity_get_constants(const tv_sensitivity_t* sensitivity, size_t index,
                                                double* constants);

/**
 * Computes the answer that another value of a parameter would lead to. Where that makes the evidence
 * impossible, the limit is returned.
 *
 * @param sensitivity  the result
 * @param index        of the parameter
 * @param value        the value of the parameter, in [0, 1]
 * @return the answer; -1.0 on failure, which tv_error_code tells from an answer
 *
 * @par Failures
 * - tv_status_usage: there is no such parameter; the value is not in [0, 1]
 */
TV_API double tv_sensitivity_compute_value_at(const tv_sensitivity_t* sensitivity, size_t index,
                                              double value);

/**
 * Returns between which values the answer moves when a parameter moves from 0 to 1.
 *
 * @param sensitivity  the result
 * @param index        of the parameter
 * @param[out] low          the smallest value
 * @param[out] high         the largest value
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: there is no such parameter
 */
TV_API tv_status_t tv_sensitivity_get_range(const tv_sensitivity_t* sensitivity, size_t index, double* low,
                                            double* high);

/**
 * Returns how far a parameter may move while the state of the node of the hypothesis that is most probable
 * now stays so.
 *
 * @param sensitivity  the result, about a hypothesis
 * @param index        of the parameter
 * @param[out] low          its smallest value, 0 or more
 * @param[out] high         its largest value, 1 or less
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: there is no such parameter; the result is not about a hypothesis
 */
TV_API tv_status_t tv_sensitivity_get_stable_interval(const tv_sensitivity_t* sensitivity, size_t index,
                                                      double* low, double* high);

/**
 * Finds the smallest change of a parameter by which the answer reaches a goal: at least `threshold`; or,
 * where another state is given, a probability of the hypothesis that exceeds the one of that state by
 * `threshold` at least (Chan and Darwiche 2002).
 *
 * @param sensitivity  the result, about a hypothesis or an expected utility
 * @param index        of the parameter
 * @param other_state  another state of the node of the hypothesis; all ones for none
 * @param threshold    in [0, 1] for a probability, in [-1, 1] for a difference, any number for a utility
 * @param[out] value        the new value of the parameter, the present one where the goal is reached already
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: there is no such parameter or no such other state; the threshold is out of range; the
 *   result is about the evidence alone
 * - tv_status_no_value: no value of the parameter reaches the goal
 */
TV_API tv_status_t tv_sensitivity_tune_parameter(const tv_sensitivity_t* sensitivity, size_t index,
                                                 size_t other_state, double threshold, double* value);

/**
 * Finds the smallest change of a whole distribution by which the answer reaches a goal: at least `threshold`;
 * or, where another state is given, a probability of the hypothesis that exceeds the one of that state by
 * `threshold` at least. The distance of two distributions is the logarithm of the largest ratio of
 * their entries, less that of the smallest (Chan and Darwiche 2005); what is zero stays zero.
 *
 * @param sensitivity   the result, about a hypothesis or an expected utility
 * @param index         of a parameter of the distribution
 * @param other_state   another state of the node of the hypothesis; all ones for none
 * @param threshold     in [0, 1] for a probability, in [-1, 1] for a difference, any number for a utility
 * @param[out] distribution  gets the new distribution, a number for each state of the node of the parameter
 * @param[out] distance      how far it is from the present one; 0 where the goal is reached already
 * @return tv_status_none, or the code of a failure
 *
 * @par Failures
 * - tv_status_usage: there is no such parameter or no such other state; the threshold is out of range; the
 *   result is about the evidence alone
 * - tv_status_no_value: no distribution with these zeros reaches the goal
 */
TV_API tv_status_t tv_sensitivity_tune_distribution(const tv_sensitivity_t* sensitivity, size_t index,
                                                    size_t other_state, double threshold,
                                                    double* distribution, double* distance);

/** @} */

/**
 * @defgroup observations What to observe next
 * Tells which observation would tell most about a target, given the evidence entered so far, and what an
 * observation would be worth to a decision (docs/explanation.md). The analyses work beside the domain: its
 * evidence, its equilibrium and its beliefs stay what they are. Numbers of nodes in a result are indexes into
 * its list, in which what matters most stands first; its nodes are handles into the domain, which are yours
 * to use as long as these nodes exist.
 * @{
 */

/**
 * Ranks nodes by what observing them is expected to tell about a discrete target, each on its own, given the
 * evidence entered: the mutual information of both, and by how much the probability of misjudging the target
 * falls (Shannon 1948; Pearl 1988, section 6.4; Howard 1966).
 *
 * One propagation for each possible state of the target answers for all candidates at once. For a continuous
 * candidate, whose distribution is a mixture of normal ones given each state of the target, both figures are
 * integrals, computed to about one part in a million of the greatest that they can be. Candidates stand in
 * the order of their information for a unit of their price, those that cost nothing before the others, in the
 * order of their information, and those that tell nothing last; prices are in any unit that is common to all.
 *
 * @param target      a discrete node without a selected state
 * @param candidates  chance nodes and discrete function nodes, none of them twice; may be null, for all that
 *                    are not observed and that no decision influences which is not made
 * @param prices      one for each candidate, finite and not negative; may be null, for 0 each
 * @return the ranking: free it with tv_observations_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: the target is not discrete, has a selected state, or belongs to a class; a candidate
 *   belongs to another domain, is the target, is of another kind, is observed or stands in the list twice; a
 *   price is negative or not finite, or there are prices without candidates; the table of a node is computed
 *   from results of a propagation
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: tables were touched since the domain was last propagated: propagate it first
 * - tv_status_invalid_evidence: the target, or a node with evidence, is below a decision that is not made; a
 *   decision has evidence other than a selected state; or a required selected state is missing
 * - tv_status_inconsistency_or_underflow: the evidence is impossible
 * - tv_status_low_density, tv_status_zero_variance, tv_status_overflow: from the propagation of the evidence;
 *   tv_query_propagate says when
 * - tv_status_no_memory: also when the states of the domain, of its open queries and of this call would
 *   together exceed the memory limit (tv_domain_set_memory_limit)
 * - tv_status_error: the progress handler asked to stop (its task is "observations")
 */
TV_API tv_observations_t* tv_node_rank_observations(tv_node_t* target, tv_node_t** candidates,
                                                    const double* prices);

/**
 * Chooses up to three nodes to be observed together, one after the other: each time the one that tells most
 * about the target beside those chosen before, for a unit of its price, averaged over what these may show.
 *
 * This is greedy, and so not always the best set of its size: two nodes can tell nothing each and all
 * together. tv_observations_get_bound limits how much better any set can be. Nothing more is chosen once the
 * target would be certain, or where nothing is left that tells anything. The time grows with the product of
 * the numbers of states of the target and of the nodes chosen before; states of these that make the target
 * certain take none.
 *
 * @param target      a discrete node without a selected state
 * @param candidates  discrete chance and function nodes, none of them twice; may be null, for all that are
 *                    not observed and that no decision influences which is not made
 * @param prices      one for each candidate, finite and not negative; may be null, for 0 each
 * @param length      how many nodes are chosen at most, from 1 to 3
 * @return the sequence, in the order in which its nodes were chosen, with what each one adds: free it with
 *         tv_observations_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: `length` is not 1, 2 or 3; the target is not discrete, has a selected state, or belongs
 *   to a class; a candidate belongs to another domain, is the target, is not discrete or of another category,
 *   is observed or stands in the list twice; a price is negative or not finite, or there are prices without
 *   candidates; the table of a node is computed from results of a propagation
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: tables were touched since the domain was last propagated: propagate it first
 * - tv_status_invalid_evidence: the target, or a node with evidence, is below a decision that is not made; a
 *   decision has evidence other than a selected state; or a required selected state is missing
 * - tv_status_inconsistency_or_underflow: the evidence is impossible
 * - tv_status_low_density, tv_status_zero_variance, tv_status_overflow: from the propagation of the evidence;
 *   tv_query_propagate says when
 * - tv_status_no_memory: also when the states of the domain, of its open queries and of this call would
 *   together exceed the memory limit (tv_domain_set_memory_limit)
 * - tv_status_error: the progress handler asked to stop (its task is "observations")
 */
TV_API tv_observations_t* tv_node_choose_observations(tv_node_t* target, tv_node_t** candidates,
                                                      const double* prices, size_t length);

/**
 * Deletes a ranking or a sequence of observations.
 *
 * @param observations  the ranking or the sequence
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_observations_delete(tv_observations_t* observations);

/**
 * Counts the candidates of a ranking, or the nodes of a sequence.
 *
 * @param observations  the ranking or the sequence
 * @return how many there are; all ones on failure
 */
TV_API size_t tv_observations_get_number(const tv_observations_t* observations);

/**
 * Returns a node of a ranking or a sequence.
 *
 * @param observations  the ranking or the sequence
 * @param index         its place, 0 for the one that comes first
 * @return the node, owned by its domain; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: `index` is not below the number of nodes
 */
TV_API tv_node_t* tv_observations_get_node(const tv_observations_t* observations, size_t index);

/**
 * Returns the information about the target that observing a node is expected to bring: of a sequence, beside
 * the nodes before it.
 *
 * @param observations  the ranking or the sequence
 * @param index         the place of the node
 * @return the mutual information, in nats (divide by ln 2 for bits), never negative; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: `index` is not below the number of nodes
 */
TV_API double tv_observations_get_information(const tv_observations_t* observations, size_t index);

/**
 * Returns by how much observing a node is expected to lower the probability of misjudging the target, when
 * its most probable state is taken for the true one: of a sequence, beside the nodes before it.
 *
 * @param observations  the ranking or the sequence
 * @param index         the place of the node
 * @return the difference of two probabilities, never negative; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: `index` is not below the number of nodes
 */
TV_API double tv_observations_get_error_reduction(const tv_observations_t* observations, size_t index);

/**
 * Returns the price of observing a node, as it was given.
 *
 * @param observations  the ranking or the sequence
 * @param index         the place of the node
 * @return the price, 0 where none was given; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: `index` is not below the number of nodes
 */
TV_API double tv_observations_get_price(const tv_observations_t* observations, size_t index);

/**
 * Returns the entropy of the target given the evidence: what is to be learned about it at most.
 *
 * @param observations  the ranking or the sequence
 * @return the entropy, in nats; -1.0 on failure
 */
TV_API double tv_observations_get_entropy(const tv_observations_t* observations);

/**
 * Returns the probability of misjudging the target given the evidence: that it is not in its most probable
 * state.
 *
 * @param observations  the ranking or the sequence
 * @return the probability; -1.0 on failure
 */
TV_API double tv_observations_get_error(const tv_observations_t* observations);

/**
 * Returns a bound of the information that any set of so many candidates holds about the target, one candidate
 * in a ranking, as many as were asked for in a sequence: the entropy of the target, or the sum of the
 * greatest entropies of candidates where that is less.
 *
 * @param observations  the ranking or the sequence
 * @return the bound, in nats; -1.0 on failure
 */
TV_API double tv_observations_get_bound(const tv_observations_t* observations);

/**
 * Tells what it would be worth to observe nodes before a decision is made, each on its own, given the
 * evidence entered: by how much the greatest expected utility grows when the node becomes one of those that
 * the decision knows (Howard 1966).
 *
 * With and without the node, the policy of this decision is made the best one, while other decisions that are
 * not made keep theirs. So with policies that were updated (tv_domain_update_policies) it is the gain over
 * the expected utility of the domain. It is the value of perfect information about the node: no imperfect
 * test of it, made before the decision, can be worth more. It is 0 for what the decision knows already and
 * for what the graph shows to make no difference. Each other candidate takes a compilation and a propagation
 * of a copy of the domain. Policies are best within what tv_domain_update_policies takes for equal.
 *
 * @param decision    a decision that is not made, with a utility node in its domain
 * @param candidates  discrete chance nodes, none of them twice; may be null, for all that are not observed
 *                    and that the decision does not influence
 * @param prices      one for each candidate, finite and not negative, in the unit of the utilities; may be
 *                    null, for 0 each
 * @return the values, the greatest first after their prices are taken off: free it with
 *         tv_observation_values_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: the node is no decision, is made or belongs to a class; there is no utility node; a
 *   candidate belongs to another domain, is no discrete chance node, is observed, is influenced by the
 *   decision or stands in the list twice; a price is negative or not finite, or there are prices without
 *   candidates
 * - tv_status_functional_dependency: function nodes stand between other nodes
 * - tv_status_invalid_evidence: a node with evidence is below a decision that is not made; a decision has
 *   evidence other than a selected state; or a required selected state is missing
 * - tv_status_inconsistency_or_underflow: the evidence is impossible
 * - tv_status_low_density, tv_status_zero_variance, tv_status_overflow,
 *   tv_status_invalid_probability_potential: from propagations; tv_domain_propagate says when
 * - tv_status_invalid_expression, tv_status_invalid_state_values, tv_status_insufficient_state_range,
 *   tv_status_inappropriate_arguments, tv_status_division_by_zero, tv_status_computation_failed,
 *   tv_status_no_value, tv_status_no_equilibrium: the table of a node could not be generated from its model;
 *   tv_node_generate_table says when
 * - tv_status_error: the progress handler asked to stop (its task is "observations")
 */
TV_API tv_observation_values_t* tv_node_value_observations(tv_node_t* decision, tv_node_t** candidates,
                                                           const double* prices);

/**
 * Deletes values of observations.
 *
 * @param values  the values
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_observation_values_delete(tv_observation_values_t* values);

/**
 * Counts the candidates that have a value.
 *
 * @param values  the values
 * @return how many there are; all ones on failure
 */
TV_API size_t tv_observation_values_get_number(const tv_observation_values_t* values);

/**
 * Returns the node of a value.
 *
 * @param values  the values
 * @param index   its place, 0 for the one that is worth most after its price is taken off
 * @return the node, owned by its domain; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: `index` is not below the number of values
 */
TV_API tv_node_t* tv_observation_values_get_node(const tv_observation_values_t* values, size_t index);

/**
 * Returns what observing a node is worth, before its price is taken off.
 *
 * @param values  the values
 * @param index   the place of the node
 * @return the value, in the unit of the utilities, never negative; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: `index` is not below the number of values
 */
TV_API double tv_observation_values_get_value(const tv_observation_values_t* values, size_t index);

/**
 * Returns the price of observing a node, as it was given.
 *
 * @param values  the values
 * @param index   the place of the node
 * @return the price, 0 where none was given; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: `index` is not below the number of values
 */
TV_API double tv_observation_values_get_price(const tv_observation_values_t* values, size_t index);

/**
 * Returns the greatest expected utility without any of the observations: that of the best policy of the
 * decision, given the evidence and the policies of the others.
 *
 * @param values  the values
 * @return the expected utility; -1.0 on failure (which may also be an answer; see tv_error_code)
 */
TV_API double tv_observation_values_get_expected_utility(const tv_observation_values_t* values);

/** @} */

/**
 * @defgroup findings Sensitivity to evidence
 * Tells what each finding, and each group of findings, does to the probability of a hypothesis, and which
 * findings do not agree with each other (docs/explanation.md). A *finding* is the evidence entered on one
 * node: a state, a value or a likelihood. Decisions that are made and required instantiations are no
 * findings; they hold throughout. The analyses work beside the domain: its evidence, its equilibrium and its
 * beliefs stay what they are.
 * @{
 */

/**
 * Finds out how the probability of a hypothesis, a state of a discrete node, depends on the findings: with
 * each one alone, with each one left out, and with every group of up to so many of them.
 *
 * Findings stand in the order of their cost of omission (Suermondt 1992), the costliest first; equal ones in
 * the order of the nodes in the domain. Groups stand in the order of their size, and among those of one size
 * the ones first with which the hypothesis comes closest to its probability given all findings. Each group
 * takes a propagation.
 *
 * @param hypothesis   a discrete node without a selected state
 * @param state        the state, below its number of states, which is possible before the findings are known
 * @param max_size     how many findings a group has at most; 0 for no groups
 * @return the analysis: free it with tv_findings_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: the node is not discrete, has a selected state or belongs to a class; there is no such
 *   state, or it is impossible whatever the findings; there are more than 65536 groups; the table of a node
 *   is computed from results of a propagation
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: tables were touched since the domain was last propagated: propagate it first
 * - tv_status_invalid_evidence: the hypothesis or a finding is below a decision that is not made; a decision
 *   has evidence other than a selected state; or a required selected state is missing
 * - tv_status_inconsistency_or_underflow: the findings cannot be true together
 * - tv_status_low_density, tv_status_zero_variance, tv_status_overflow: from the propagation of the evidence;
 *   tv_query_propagate says when
 * - tv_status_no_memory: also when the states of the domain, of its open queries and of this call would
 *   together exceed the memory limit (tv_domain_set_memory_limit)
 * - tv_status_error: the progress handler asked to stop (its task is "findings")
 */
TV_API tv_findings_t* tv_node_analyze_findings(tv_node_t* hypothesis, size_t state, size_t max_size);

/**
 * Deletes an analysis of findings.
 *
 * @param findings  the analysis
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_findings_delete(tv_findings_t* findings);

/**
 * Counts the findings.
 *
 * @param findings  the analysis
 * @return how many there are; all ones on failure
 */
TV_API size_t tv_findings_get_number(const tv_findings_t* findings);

/**
 * Returns the node of a finding.
 *
 * @param findings  the analysis
 * @param finding   its place, 0 for the one whose omission costs most
 * @return the node, owned by its domain; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such finding
 */
TV_API tv_node_t* tv_findings_get_node(const tv_findings_t* findings, size_t finding);

/**
 * Returns the probability of the hypothesis without any finding.
 *
 * @param findings  the analysis
 * @return the probability; -1.0 on failure
 */
TV_API double tv_findings_get_prior(const tv_findings_t* findings);

/**
 * Returns the probability of the hypothesis given all findings.
 *
 * @param findings  the analysis
 * @return the probability; -1.0 on failure
 */
TV_API double tv_findings_get_posterior(const tv_findings_t* findings);

/**
 * Returns the probability of the hypothesis given one finding alone.
 *
 * @param findings  the analysis
 * @param finding   the finding
 * @return the probability; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such finding
 */
TV_API double tv_findings_get_posterior_given(const tv_findings_t* findings, size_t finding);

/**
 * Returns the probability of the hypothesis given all findings but one.
 *
 * @param findings  the analysis
 * @param finding   the one that is left out
 * @return the probability; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such finding
 */
TV_API double tv_findings_get_posterior_without(const tv_findings_t* findings, size_t finding);

/**
 * Returns the cost of omitting a finding: the relative entropy of the distribution of the hypothesis' node
 * given all findings to that without this one (Suermondt 1992).
 *
 * @param findings  the analysis
 * @param finding   the finding
 * @return the cost, in nats, never negative; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such finding
 */
TV_API double tv_findings_get_cost_of_omission(const tv_findings_t* findings, size_t finding);

/** What a finding does to a hypothesis beside the others. */
typedef TV_INT_ENUM {
  /** The answer of a failed query. */
  tv_finding_error = -1,
  /** It tells nothing, alone or beside the others. */
  tv_finding_irrelevant = 0,
  /** Alone it would tell something; the others tell that already. */
  tv_finding_redundant,
  /** It moves the hypothesis the way that all findings together do. */
  tv_finding_supporting,
  /** It moves the hypothesis that way, and without it a large part of the way would be missing, or another
   *  state would be the most probable one of the node. */
  tv_finding_decisive,
  /** It moves the hypothesis against the way that all findings together do. */
  tv_finding_contradictory
} tv_finding_role_t;

/**
 * Tells what a finding does to the hypothesis beside the others.
 *
 * The first rule that applies decides. A cost of omission below `least_cost` makes a finding irrelevant, or
 * redundant where alone it costs as much or more: where the relative entropy of the distribution of the
 * hypothesis' node given it to that without any finding reaches `least_cost`. A finding whose omission would
 * change which state of the node is the most probable is decisive, unless it is contradictory: unless with it
 * the probability of the hypothesis moves against its change from none to all findings. It is decisive, too,
 * where that movement is at least `decisive_share` of the change. Any other is supporting.
 *
 * @param findings        the analysis
 * @param finding         the finding
 * @param least_cost      in nats, finite and not negative; 0.01 is a usual choice
 * @param decisive_share  a share from 0 to 1; 0.5 is a usual choice
 * @return what it does; tv_finding_error on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such finding, or a parameter is out of range
 */
TV_API tv_finding_role_t tv_findings_get_role(const tv_findings_t* findings, size_t finding,
                                              double least_cost, double decisive_share);

/**
 * Returns the probability that the hypothesis would have if one finding were different: if its node were
 * known to be in another state, and all other findings stood.
 *
 * @param findings  the analysis
 * @param finding   the finding, on a discrete node
 * @param state     the state of its node
 * @return the probability; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such finding or state, or its node is continuous
 * - tv_status_inconsistency_or_underflow: the other findings rule that state out
 */
TV_API double tv_findings_get_posterior_if(const tv_findings_t* findings, size_t finding, size_t state);

/**
 * Counts the groups of findings.
 *
 * @param findings  the analysis
 * @return how many there are; all ones on failure
 */
TV_API size_t tv_findings_get_number_of_groups(const tv_findings_t* findings);

/**
 * Returns the findings of a group.
 *
 * @param findings    the analysis
 * @param group       the group
 * @param[out] count  how many findings it has
 * @return their places in ascending order, owned by the analysis; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such group
 */
TV_API const size_t* tv_findings_get_group(const tv_findings_t* findings, size_t group, size_t* count);

/**
 * Returns the probability of the hypothesis given the findings of a group alone.
 *
 * @param findings  the analysis
 * @param group     the group
 * @return the probability; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such group
 */
TV_API double tv_findings_get_group_posterior(const tv_findings_t* findings, size_t group);

/**
 * Returns the normalised likelihood of a group of findings: how many times as probable they are under the
 * hypothesis as they are at all, which is also how many times they multiply its probability.
 *
 * @param findings  the analysis
 * @param group     the group
 * @return the ratio: above 1 where they speak for the hypothesis, below 1 where they speak against it; -1.0
 *         on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such group
 */
TV_API double tv_findings_get_normalized_likelihood(const tv_findings_t* findings, size_t group);

/**
 * Traces the conflict of the findings to the smallest groups that carry it, and lists what would resolve it.
 *
 * The conflict of findings is ln( P(e1) ... P(en) / P(e1, ..., en) ): positive where they are less probable
 * together than they would be were they independent, as findings hardly are that come from one coherent case
 * (Jensen, Chamberlain, Nordahl & Jensen 1990). A group carries it if it has at least the given share of the
 * whole conflict, and it is among the smallest if no part of it does. A state of a node that is not known
 * resolves the conflict if as one more finding it leaves none: if the case may just be a rare one (Jensen
 * 1996). Values count with their densities.
 *
 * @param domain    a compiled domain
 * @param max_size  how many findings a group has at most; 0 for no groups
 * @param share     the share, above 0 and at most 1; 0.8 is a usual choice
 * @return the conflict: free it with tv_conflict_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: the share is out of range; there are more than 65536 groups to look at; the table of a
 *   node is computed from results of a propagation
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: tables were touched since the domain was last propagated: propagate it first
 * - tv_status_invalid_evidence: a finding is below a decision that is not made; a decision has evidence other
 *   than a selected state; or a required selected state is missing
 * - tv_status_inconsistency_or_underflow: the findings cannot be true together
 * - tv_status_low_density, tv_status_zero_variance, tv_status_overflow: from the propagation of the evidence;
 *   tv_query_propagate says when
 * - tv_status_no_memory: also when the states of the domain, of its open queries and of this call would
 *   together exceed the memory limit (tv_domain_set_memory_limit)
 * - tv_status_error: the progress handler asked to stop (its task is "findings")
 */
TV_API tv_conflict_t* tv_domain_trace_conflict(tv_domain_t* domain, size_t max_size, double share);

/**
 * Deletes a conflict.
 *
 * @param conflict  the conflict
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_conflict_delete(tv_conflict_t* conflict);

/**
 * Returns the conflict of all findings.
 *
 * @param conflict  the conflict
 * @return the natural logarithm of the ratio, positive where the findings disagree; -1.0 on failure (which
 *         may also be an answer; see tv_error_code)
 */
TV_API double tv_conflict_get_value(const tv_conflict_t* conflict);

/**
 * Counts the smallest groups of findings that carry the conflict, of the size that was asked for at most; 0
 * where there is no conflict.
 *
 * @param conflict  the conflict
 * @return how many there are; all ones on failure
 */
TV_API size_t tv_conflict_get_number_of_groups(const tv_conflict_t* conflict);

/**
 * Returns the nodes of a group of findings: groups stand in the order of their size, and those of one size in
 * the order of their conflict, the greatest first.
 *
 * @param conflict    the conflict
 * @param group       the group
 * @param[out] count  how many nodes it has
 * @return the nodes, in the order of the domain, owned by the conflict; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such group
 */
TV_API tv_node_t* const* tv_conflict_get_group(const tv_conflict_t* conflict, size_t group, size_t* count);

/**
 * Returns the conflict of a group of findings.
 *
 * @param conflict  the conflict
 * @param group     the group
 * @return the natural logarithm of the ratio; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such group
 */
TV_API double tv_conflict_get_group_value(const tv_conflict_t* conflict, size_t group);

/**
 * Counts the states of nodes that would resolve the conflict; 0 where there is none.
 *
 * @param conflict  the conflict
 * @return how many there are; all ones on failure
 */
TV_API size_t tv_conflict_get_number_of_resolutions(const tv_conflict_t* conflict);

/**
 * Returns a state of a node that would resolve the conflict; what leaves least of it comes first.
 *
 * @param conflict    the conflict
 * @param resolution  which of them
 * @param[out] state  the state
 * @return the node, owned by its domain; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such resolution
 */
TV_API tv_node_t* tv_conflict_get_resolution(const tv_conflict_t* conflict, size_t resolution, size_t* state);

/**
 * Returns what is left of the conflict when the state of a node is one more finding.
 *
 * @param conflict    the conflict
 * @param resolution  which of those that resolve it
 * @return the natural logarithm of the ratio, at most 0; 1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such resolution
 */
TV_API double tv_conflict_get_resolution_value(const tv_conflict_t* conflict, size_t resolution);

/** @} */

/**
 * @defgroup explanation Explanation
 * Tells why a node has the probabilities that it has: how much each finding has to do with it, along which
 * trails it acts, and which states of other nodes account for the findings best (docs/explanation.md). A
 * *finding* is the evidence entered on one node; decisions that are made and required instantiations are no
 * findings, they hold throughout. The analyses work beside the domain: its evidence, its equilibrium and its
 * beliefs stay what they are.
 * @{
 */

/**
 * Explains how the findings have changed the probabilities of a node.
 *
 * For each finding and each state there are its weight of evidence (Good 1985), alone and beside the others,
 * and its Shapley value (Shapley 1953): its share in the change of the probability, averaged over all orders
 * in which the findings may become known; the shares add up to the whole change. They are exact for up to 16
 * findings, of whose groups each takes a propagation, and estimated from random orders beyond that, with a
 * generator of the call's own. Trails that a finding acts along are those of tv_explanation_get_trail.
 * Findings stand in the order of their Shapley values for `state`, the greatest first, whatever its sign;
 * equal ones in the order of the nodes in the domain.
 *
 * @param node    a discrete node without a selected state
 * @param state   the state that matters most, below its number of states
 * @param orders  with more than 16 findings: from how many random orders Shapley values are estimated, at
 *                least 2
 * @param trails  how many trails are kept for each finding at most
 * @return the explanation: free it with tv_explanation_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: the node is not discrete, has a selected state or belongs to a class; there is no such
 *   state, or it is impossible whatever the findings; there are more than 16 findings and less than 2 orders;
 *   the table of a node is computed from results of a propagation
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: tables were touched since the domain was last propagated: propagate it first
 * - tv_status_invalid_evidence: the node or a finding is below a decision that is not made; a decision has
 *   evidence other than a selected state; or a required selected state is missing
 * - tv_status_inconsistency_or_underflow: the findings cannot be true together
 * - tv_status_low_density, tv_status_zero_variance, tv_status_overflow: from the propagation of the evidence;
 *   tv_query_propagate says when
 * - tv_status_no_memory: also when the states of the domain, of its open queries and of this call would
 *   together exceed the memory limit (tv_domain_set_memory_limit)
 * - tv_status_error: the progress handler asked to stop (its task is "explanation")
 */
TV_API tv_explanation_t* tv_node_explain_belief(tv_node_t* node, size_t state, size_t orders, size_t trails);

/**
 * Deletes an explanation.
 *
 * @param explanation  the explanation
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_explanation_delete(tv_explanation_t* explanation);

/**
 * Counts the findings of an explanation.
 *
 * @param explanation  the explanation
 * @return how many there are; all ones on failure
 */
TV_API size_t tv_explanation_get_number_of_findings(const tv_explanation_t* explanation);

/**
 * Returns the node of a finding.
 *
 * @param explanation  the explanation
 * @param finding      its place, 0 for the one that matters most
 * @return the node, owned by its domain; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such finding
 */
TV_API tv_node_t* tv_explanation_get_finding(const tv_explanation_t* explanation, size_t finding);

/**
 * Returns the probability of a state of the explained node without any finding.
 *
 * @param explanation  the explanation
 * @param state        the state
 * @return the probability; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such state
 */
TV_API double tv_explanation_get_prior(const tv_explanation_t* explanation, size_t state);

/**
 * Returns the probability of a state of the explained node given all findings.
 *
 * @param explanation  the explanation
 * @param state        the state
 * @return the probability; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such state
 */
TV_API double tv_explanation_get_posterior(const tv_explanation_t* explanation, size_t state);

/**
 * Returns the weight of evidence of one finding alone for a state: the natural logarithm of how many times as
 * probable it is given the state as given that the node is in another one, which is also how it changes the
 * log-odds of the state (Good 1985).
 *
 * @param explanation  the explanation
 * @param finding      the finding
 * @param state        the state
 * @return the weight, in nats (multiply by 10 / ln 10 for decibans): positive where it speaks for the state,
 *         infinite where it decides, 0 where that was decided without it; -1.0 on failure (which may also be
 *         an answer; see tv_error_code)
 *
 * @par Failures
 * - tv_status_usage: there is no such finding or state
 */
TV_API double tv_explanation_get_weight_alone(const tv_explanation_t* explanation, size_t finding,
                                              size_t state);

/**
 * Returns the weight of evidence of one finding for a state when all others are known already: how it changes
 * the log-odds of the state as the last one (Good 1985).
 *
 * @param explanation  the explanation
 * @param finding      the finding
 * @param state        the state
 * @return the weight, in nats (multiply by 10 / ln 10 for decibans): positive where it speaks for the state,
 *         infinite where it decides, 0 where that was decided without it; -1.0 on failure (which may also be
 *         an answer; see tv_error_code)
 *
 * @par Failures
 * - tv_status_usage: there is no such finding or state
 */
TV_API double tv_explanation_get_weight(const tv_explanation_t* explanation, size_t finding, size_t state);

/**
 * Returns the Shapley value of a finding for the probability of a state (Shapley 1953): its share in the
 * change from the probability without findings to that given all of them.
 *
 * @param explanation  the explanation
 * @param finding      the finding
 * @param state        the state
 * @return the share, from -1 to 1; NaN on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such finding or state
 */
TV_API double tv_explanation_get_shapley_value(const tv_explanation_t* explanation, size_t finding,
                                               size_t state);

/**
 * Returns the standard error of a Shapley value.
 *
 * @param explanation  the explanation
 * @param finding      the finding
 * @param state        the state
 * @return the standard error, 0 where the value is exact; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such finding or state
 */
TV_API double tv_explanation_get_standard_error(const tv_explanation_t* explanation, size_t finding,
                                                size_t state);

/**
 * Counts the trails of a finding that are kept.
 *
 * @param explanation  the explanation
 * @param finding      the finding
 * @return how many there are; all ones on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such finding
 */
TV_API size_t tv_explanation_get_number_of_trails(const tv_explanation_t* explanation, size_t finding);

/**
 * Tells whether the trails of a finding are all that there are.
 *
 * @param explanation  the explanation
 * @param finding      the finding
 * @return 1; 0 where others may be there, which were not asked for or not looked for, as there are too many
 *         ways through the network; -1 on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such finding
 */
TV_API int tv_explanation_has_all_trails(const tv_explanation_t* explanation, size_t finding);

/**
 * Returns a trail along which a finding acts on the explained node, the strongest first.
 *
 * It is a path of links, in either direction, that is active given the other findings: neither blocked by an
 * observed node nor by a collider without evidence on it or below it (Pearl 1988); undirected links are
 * passed like directed ones, and meet in no collider. Its strength is that of its weakest place: the least
 * relative entropy, among its nodes without evidence, of the distribution given all findings to that without
 * this one, so of what leaving out the finding changes there (after Suermondt 1992). Of a continuous node
 * both count as normal distributions with the right means and variances. Trails without strength are left
 * out.
 *
 * @param explanation  the explanation
 * @param finding      the finding
 * @param trail        which of its trails
 * @param[out] count   how many nodes it has
 * @return the nodes, from that of the finding to the explained one, owned by the explanation; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such finding or trail
 */
TV_API tv_node_t* const* tv_explanation_get_trail(const tv_explanation_t* explanation, size_t finding,
                                                  size_t trail, size_t* count);

/**
 * Returns the strength of a trail.
 *
 * @param explanation  the explanation
 * @param finding      the finding
 * @param trail        which of its trails
 * @return the strength, in nats; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such finding or trail
 */
TV_API double tv_explanation_get_trail_strength(const tv_explanation_t* explanation, size_t finding,
                                                size_t trail);

/**
 * Returns the explanation as a short text in plain English words: how the probability of the state that
 * matters most has changed, what speaks for it and against it, and along which trails. Nodes and states are
 * called what they were called when the explanation was made.
 *
 * @param explanation  the explanation
 * @return the text, of several lines, each with a line end; owned by the explanation; NULL on failure
 */
TV_API const char* tv_explanation_get_text(const tv_explanation_t* explanation);

/**
 * Finds the states of some nodes that account for the evidence best: the most relevant explanations (Yuan,
 * Lim & Lu 2011), which state some of the nodes and leave out what has little to do with the evidence.
 *
 * They maximise the generalised Bayes factor P(e | x) / P(e | not x) over all choices of some of the nodes,
 * one or more, and of a state for each. What makes the evidence no more probable is none, and the ones are
 * left out that another one is preferred to: one that says a part of it and has at least its factor, or that
 * says more and has a greater one. Factors that differ by less than a hundred-thousandth count as equal, and
 * what is certain before the evidence explains nothing. They are exact, from the joint distributions of the
 * nodes before and after the evidence. The product of the numbers of states, each plus one, may be 1048576
 * at most.
 *
 * @param domain   a compiled domain
 * @param targets  discrete nodes of the domain without selected states, at least one, none of them twice
 * @param count    how many explanations are kept at most
 * @return the explanations, the best first: free it with tv_relevant_explanations_delete; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: there is no target; one of them belongs to another domain, is not discrete, has a
 *   selected state or stands in the list twice; there are too many; or the table of a node is computed from
 *   results of a propagation
 * - tv_status_not_compiled: the domain is not compiled
 * - tv_status_no_equilibrium: tables were touched since the domain was last propagated: propagate it first
 * - tv_status_invalid_evidence: a finding is below a decision that is not made; a decision has evidence other
 *   than a selected state; or a required selected state is missing
 * - tv_status_inconsistency_or_underflow: the evidence is impossible
 * - tv_status_low_density, tv_status_zero_variance, tv_status_overflow: from the propagation of the evidence;
 *   tv_query_propagate says when
 * - tv_status_no_memory: also when the states of the domain, of its open queries and of this call would
 *   together exceed the memory limit (tv_domain_set_memory_limit)
 * - tv_status_error: the progress handler asked to stop (its task is "propagation")
 */
TV_API tv_relevant_explanations_t* tv_domain_find_relevant_explanations(tv_domain_t* domain,
                                                                        tv_node_t** targets, size_t count);

/**
 * Deletes relevant explanations.
 *
 * @param explanations  the explanations
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_relevant_explanations_delete(tv_relevant_explanations_t* explanations);

/**
 * Counts the relevant explanations.
 *
 * @param explanations  the explanations
 * @return how many there are; all ones on failure
 */
TV_API size_t tv_relevant_explanations_get_number(const tv_relevant_explanations_t* explanations);

/**
 * Returns the nodes of an explanation.
 *
 * @param explanations  the explanations
 * @param index         which of them, 0 for the best
 * @param[out] count    how many nodes it has
 * @return the nodes, in the order of the targets, owned by the explanations; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such explanation
 */
TV_API tv_node_t* const* tv_relevant_explanations_get_nodes(const tv_relevant_explanations_t* explanations,
                                                            size_t index, size_t* count);

/**
 * Returns the states in which an explanation has its nodes.
 *
 * @param explanations  the explanations
 * @param index         which of them, 0 for the best
 * @param[out] count    how many nodes it has
 * @return a state for each of its nodes, owned by the explanations; NULL on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such explanation
 */
TV_API const size_t* tv_relevant_explanations_get_states(const tv_relevant_explanations_t* explanations,
                                                         size_t index, size_t* count);

/**
 * Returns the generalised Bayes factor of an explanation: how many times as probable the evidence is when it
 * is true as when it is not.
 *
 * @param explanations  the explanations
 * @param index         which of them, 0 for the best
 * @return the factor, infinite where the evidence is impossible without the explanation; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such explanation
 */
TV_API double tv_relevant_explanations_get_factor(const tv_relevant_explanations_t* explanations,
                                                  size_t index);

/**
 * Returns the probability of an explanation given the evidence.
 *
 * @param explanations  the explanations
 * @param index         which of them, 0 for the best
 * @return the probability; -1.0 on failure
 *
 * @par Failures
 * - tv_status_usage: there is no such explanation
 */
TV_API double tv_relevant_explanations_get_probability(const tv_relevant_explanations_t* explanations,
                                                       size_t index);

/** @} */

/**
 * @defgroup random Random numbers
 * Each domain has a generator of its own: Knuth's floating-point lagged-Fibonacci generator (The Art of
 * Computer Programming, volume 2, section 3.6), of every 1009 numbers of which 100 are used. One seed gives
 * one sequence, on every machine.
 * @{
 */

/**
 * Starts the random numbers of a domain anew. A new domain is seeded with 310952.
 *
 * @param domain  the domain
 * @param seed    the seed, of which the low 30 bits count
 * @return tv_status_none, or the code of a failure
 */
TV_API tv_status_t tv_domain_seed_random(tv_domain_t* domain, unsigned seed);

/**
 * Draws the next random number of a domain, uniform in [0, 1).
 *
 * @param domain  the domain
 * @return the number; -1.0 on failure
 */
TV_API double tv_domain_get_uniform_deviate(tv_domain_t* domain);

/**
 * Draws a random number of the normal distribution, by the ratio of uniforms (Kinderman & Monahan 1977).
 *
 * It draws from the uniform sequence, as many numbers as it needs; a variance of 0 gives the mean and draws
 * none.
 *
 * @param domain    the domain
 * @param mean      the mean of the distribution, finite
 * @param variance  its variance, finite and not negative
 * @return the number; -1.0 on failure (which may also be an answer; see tv_error_code)
 *
 * @par Failures
 * - tv_status_usage: the variance is negative, or either argument is NaN or infinite
 */
TV_API double tv_domain_get_normal_deviate(tv_domain_t* domain, double mean, double variance);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
