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
 *  1. Lifecycle. Create a domain (tv_new_domain) or load one (tv_net_parse_domain); compile it; then enter
 *     evidence, propagate and read, as often as you like; delete it. Any change of structure (nodes, links,
 *     states, categories) *uncompiles* the domain: cliques, trees and beliefs are gone until the next
 *     compilation. Changing numbers in tables does not uncompile: say tv_node_touch_table and propagate.
 *  2. Status. Each thread has a status, the outcome of its most recent call into the library, read with
 *     tv_error_code. A success leaves tv_status_none there, also when an earlier call failed. Only the
 *     tv_error_ functions and tv_get_version leave it alone. tv_error_message says in a sentence what
 *     went wrong.
 *  3. Failure values. A function that returns a tv_status_t returns the code itself, so `if (call(...))`
 *     reads "if it failed". Others return: NULL for handles, lists and strings; all ones, `(size_t)-1`, for
 *     size_t; -1 for ptrdiff_t and for int answers (1 yes, 0 no, -1 failure); -1.0 for double and
 *     tv_number_t; the `_error` member of an enumeration. Where the failure value can also be an answer
 *     (NULL at the end of an iteration, a state value of -1), tv_error_code tells the two apart.
 *  4. Null pointers. A null handle, string or result pointer gives tv_status_usage, unless the function
 *     says that it takes null. This and the next two points hold everywhere and are not repeated below.
 *  5. Memory. Any function that allocates may fail with tv_status_no_memory. A size that does not fit into
 *     a size_t counts as too much memory when something is allocated (tv_status_no_memory) and as
 *     tv_status_size_too_large when it is merely asked for.
 *  6. Failure changes nothing. A call that fails leaves its objects as they were. The exceptions are said
 *     at their functions: a failed propagation resets its trees and keeps what you entered, and a
 *     compilation that fails with a log set has written to that log.
 *  7. Ownership. The domain owns its nodes, tables, cliques and trees; strings and lists belong to the
 *     object that returned them and stay valid until that object changes in what they show, or is deleted.
 *     Never free them. The few results that are yours say so: "free()" for the C library, or a `_delete`
 *     function. Strings, orders and values that you pass in are copied. Handles of cliques and junction
 *     trees end when the domain is uncompiled.
 *  8. Lists are arrays of handles that end with a null pointer, going in and coming out. An empty list is
 *     an array whose first entry is null.
 *  9. Order of table entries. The discrete nodes of a table stand first, and configurations are numbered
 *     with the *last* discrete node varying fastest: over A (2 states) and B (3 states) the entries are
 *     a0b0 a0b1 a0b2 a1b0 a1b1 a1b2. A chance or decision node is the last discrete node of its own table,
 *     so every run of as many numbers as it has states is one distribution, given one configuration of the
 *     parents.
 * 10. Numbers. Tables hold single precision (tv_number_t); sums and logarithms are formed in double
 *     precision, and products with more range where single precision does not suffice: beliefs are right to
 *     one part in a million (below 1e-23, to 1e-29), and only impossible evidence is refused. Natural
 *     logarithms everywhere. The results are the same bits for every number of threads.
 * 11. Threads. Different domains may be used by different threads at the same time; one domain must never
 *     be used by two threads at once, not even for reading; a table that it
 *     has given you belongs to it in this. Nothing is shared between domains, the locale
 *     included: parsing and writing select the "C" locale for the calling thread (uselocale) and put back
 *     what it used before they return. Your handlers run under it; other threads and the locale of the
 *     process (setlocale) do not notice. Numbers always use a decimal point.
 * 12. User data. Pointers stored with `_set_user_data` and `_set_back_pointer` are yours: the library never
 *     looks at them and never frees them. They start as null.
 * 13. Not there yet. The exact total-weight triangulation is not available in this version. Where it matters,
 *     the function says "fails with tv_status_error in this version".
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
 * attributes; user data; links; graph queries; display; tables of nodes; tables; expressions; models; threads,
 * log and progress;
 * compilation; cliques and junction trees; evidence; evidence queries; propagation; probability and
 * conflict of the evidence; beliefs and other results; reading networks; random numbers.
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
  /** The name is in use by another node of the domain. */
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
  /** Zero probability in the parents of a chain graph. */
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
  /** Not supported on compressed domains. Reserved. */
  tv_status_compressed = 28,
  /** The compressed form of a table is too large. Reserved. */
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

/* C lets a call pass any integer for an enumeration; so that C++ lets the library look at it, each says that it
   is one. */
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
  /** Least total clique weight; fails with tv_status_error in this version. */
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

/** The operators of expressions (the page on expressions explains them) and, last, the four kinds of leaves. */
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
  /** `probability (condition)`, about one node. */
  tv_operator_probability,
  /** `variance (node)`. */
  tv_operator_variance,
  /** `quantile (node, p)`. */
  tv_operator_quantile,
  /** Functions of numbers; `min` and `max` take one or more. */
  tv_operator_min,
  tv_operator_max,
  /** Natural logarithm. */
  tv_operator_log,
  tv_operator_log2,
  tv_operator_log10,
  tv_operator_exp,
  tv_operator_sin,
  tv_operator_cos,
  tv_operator_tan,
  tv_operator_sinh,
  tv_operator_cosh,
  tv_operator_tanh,
  tv_operator_sqrt,
  tv_operator_abs,
  tv_operator_floor,
  tv_operator_ceil,
  /** `mod (a, b)`: the remainder, with the sign of a. */
  tv_operator_mod,
  /** `if (condition, then, else)`. */
  tv_operator_if,
  /** Of truth values; `and` and `or` take any number. */
  tv_operator_and,
  tv_operator_or,
  tv_operator_not,
  /** Written between their operands (`negate` before it). */
  tv_operator_add,
  tv_operator_subtract,
  tv_operator_multiply,
  tv_operator_divide,
  tv_operator_power,
  tv_operator_negate,
  /** `#node`. */
  tv_operator_state_index,
  /** Comparisons: `==`, `<`, `>`, `!=`, `<=`, `>=`. */
  tv_operator_equals,
  tv_operator_less_than,
  tv_operator_greater_than,
  tv_operator_not_equals,
  tv_operator_less_than_or_equals,
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

/** The same without the data pointer, for the older entry points of the parser. */
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
 * @{
 */

/** The status of the calling thread: the outcome of its latest call (convention 2). Does not change it. */
TV_API tv_status_t tv_error_code(void);

/**
 * The short name of a code, such as "usage" or "no_memory"; "no_such_error" for a code above 47. The string
 * is static. The status stays as it is.
 */
TV_API const char* tv_error_name(unsigned code);

/**
 * A sentence or two about a code; "No such error." for a code above 47. The string is static. The status
 * stays as it is.
 */
TV_API const char* tv_error_description(unsigned code);

/**
 * What went wrong in the latest call of the calling thread, for people: one sentence that names the objects,
 * without a full stop, such as `node "rain" has 2 states, so there is no state 5`. Where the library knows no
 * more than the code, the code's description; after a success the empty string. Never NULL. The text is at most
 * 239 bytes long (longer ones end with "...") and valid until the thread's next call. The status stays as it is.
 */
TV_API const char* tv_error_message(void);

/**
 * Where the latest message of a parser stands: the line, counted from 1. Handlers may ask for it, and it stays
 * until the same thread reads another text. 0 when there has been no message. The status stays as it is.
 *
 * Unlike the position that the handler is given, it is the same for files and strings, and it is where the word
 * or number begins at which the parser stopped. Lines end with a line feed, a carriage return, or both.
 */
TV_API size_t tv_error_line(void);

/** The column in that line, in bytes, counted from 1; 0 when there has been no message. */
TV_API size_t tv_error_column(void);

/** The version of the library, "MAJOR.MINOR.PATCH". The string is static. The status stays as it is. */
TV_API const char* tv_get_version(void);

/** @} */

/**
 * @defgroup domains Domains
 * @{
 */

/**
 * Creates an empty domain.
 *
 * It has grain size 10000, concurrency levels 1, no log, no separator limits, node symbols of 80 by 40, and
 * a random number generator seeded with 310952. Delete it with tv_domain_delete.
 */
TV_API tv_domain_t* tv_new_domain(void);

/**
 * Deletes a domain with everything in it: nodes, tables, cliques, trees. All handles into it become
 * invalid. The log stream and user data are yours and stay untouched.
 */
TV_API tv_status_t tv_domain_delete(tv_domain_t* domain);

/**
 * Makes an independent copy of a domain, to be deleted with tv_domain_delete.
 *
 * Copied are nodes (same order, numbers and names), links, states, tables with experience and fading,
 * attributes, display data, entered evidence and settings. Not copied are the compiled structure (compile the
 * copy), the log stream, the progress handler, user data pointers, and the state of the random numbers (the
 * copy is seeded like a new domain).
 */
TV_API tv_domain_t* tv_domain_clone(tv_domain_t* domain);

/** How many nodes the domain has, of all categories. All ones on failure. */
TV_API size_t tv_domain_get_number_of_nodes(const tv_domain_t* domain);

/**
 * The name of the file that the domain was parsed from, owned by the domain; NULL with status none when there
 * was none (created by calls, or parsed from a stream or a text).
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
 * utility with any kind (the node gets kind other). A discrete node starts with one state and subtype
 * label. Nodes are numbered 1, 2, 3 ... by order of creation; the new node becomes the first of the
 * domain's list. It has no name until one is set or asked for, and no table until one is asked for (no
 * table counts as the uniform distribution, for a continuous node as intercept 0, coefficients 0 and variance
 * 1, for a utility node as zero).
 *
 * Fails, returning NULL: usage - any other combination; cg_limids_not_supported - a continuous decision, a
 * continuous chance node in a domain with decision or utility nodes, or a decision or utility node in a
 * domain with continuous nodes; cyclic_functional_dependency - the first decision or utility node in a
 * domain whose function nodes break the rules of decision models.
 */
TV_API tv_node_t* tv_domain_new_node(tv_domain_t* domain, tv_node_category_t category, tv_node_kind_t kind);

/**
 * Deletes a node and uncompiles the domain.
 *
 * Its links go first: children lose it as a parent as by tv_node_remove_parent. Nodes created after it are
 * numbered one lower. Its tables are deleted with it.
 */
TV_API tv_status_t tv_node_delete(tv_node_t* node);

/**
 * Creates a copy of a node in the same domain and uncompiles the domain.
 *
 * Copied are category, kind, subtype, states with labels and values, parents with the tables, the model,
 * attributes, label and position, and entered evidence. The copy has no children, no name until one is set or asked for,
 * and no user data.
 */
TV_API tv_node_t* tv_node_clone(tv_node_t* node);

/** The category of a node; tv_category_error on failure. */
TV_API tv_node_category_t tv_node_get_category(const tv_node_t* node);

/**
 * Makes a chance node a decision node or the other way round, and uncompiles the domain if that is a change.
 * A node that becomes a decision loses its experience and fading tables.
 *
 * Fails: usage - the node is not discrete, is a function node or has a model, or `category` is neither chance
 * nor decision; cg_limids_not_supported - decision, in a domain with continuous nodes;
 * cyclic_functional_dependency - the first decision in a domain whose function nodes break the rules of
 * decision models.
 */
TV_API tv_status_t tv_node_set_category(tv_node_t* node, tv_node_category_t category);

/** The kind of a node, fixed at its creation; tv_kind_error (-2) on failure. */
TV_API tv_node_kind_t tv_node_get_kind(const tv_node_t* node);

/** The subtype of a discrete node. Fails, returning tv_subtype_error: usage - the node is not discrete. */
TV_API tv_node_subtype_t tv_node_get_subtype(const tv_node_t* node);

/**
 * Says what the states of a discrete node mean. State labels and values are kept.
 *
 * Fails: usage - the node is not discrete, `subtype` is none of the four, or it is boolean and the node
 * does not have exactly two states.
 */
TV_API tv_status_t tv_node_set_subtype(tv_node_t* node, tv_node_subtype_t subtype);

/** The domain that a node belongs to. */
TV_API tv_domain_t* tv_node_get_domain(const tv_node_t* node);

/**
 * The first node of the domain's list; NULL with status none when there is none.
 *
 * The newest node comes first: after creating A, B, C the list is C, B, A. A parsed domain lists its nodes
 * in the order of the file instead; nodes created later still go to the front.
 */
TV_API tv_node_t* tv_domain_get_first_node(const tv_domain_t* domain);

/** The next node of the domain's list; NULL with status none at its end. */
TV_API tv_node_t* tv_node_get_next(const tv_node_t* node);

/** @} */

/**
 * @defgroup names Names
 * @{
 */

/**
 * Names a node. A name begins with a letter or "_" and goes on with letters, digits and "_" (plain ASCII);
 * several such words may be joined by single dots, as in "engine.pump". Names are unique within the domain,
 * and upper and lower case differ. Setting the present name again succeeds.
 *
 * Fails, keeping the old name: twice - another node has the name; invalid_name - it breaks the form above.
 */
TV_API tv_status_t tv_node_set_name(tv_node_t* node, const char* name);

/**
 * The name of a node, created first if it has none: C, D, F or U for chance, decision, function or utility,
 * followed by the node's number ("C5"); if that is taken, by the domain's number of nodes plus 1, or the next
 * number that gives a free name. Owned by the node, valid until it is renamed.
 */
TV_API const char* tv_node_get_name(tv_node_t* node);

/**
 * The node with exactly this name, or NULL with status none when there is none. Fast also in large domains.
 */
TV_API tv_node_t* tv_domain_get_node_by_name(tv_domain_t* domain, const char* name);

/** @} */

/**
 * @defgroup states States
 * @{
 */

/** How many states a discrete node has, at least 1. Fails, returning all ones: usage - not discrete. */
TV_API size_t tv_node_get_number_of_states(const tv_node_t* node);

/**
 * Changes how many states a discrete node has. The present number does nothing. Otherwise the domain is
 * uncompiled and the node's findings are retracted.
 *
 * Shrinking drops the last states with their labels and values; growing adds states without a label, with
 * state value -1. The uppermost bound of an interval node stays the uppermost. In the tables, entries of
 * states that remain are kept; the node's new states have probability 0 in its own table, and given such a
 * state its children are uniform (utilities 0).
 *
 * Fails: usage - the node is not discrete, `count` is 0, or the node is boolean (it has two states, always).
 */
TV_API tv_status_t tv_node_set_number_of_states(tv_node_t* node, size_t count);

/**
 * Labels a state. The text is free and may repeat; it is copied. "" removes the label.
 *
 * Fails: usage - the node is not discrete or `state` is not below its number of states.
 */
TV_API tv_status_t tv_node_set_state_label(tv_node_t* node, size_t state, const char* label);

/**
 * The label of a state. A state without one has the label "", or "false" (state 0) and "true" (state 1) on
 * a boolean node. Owned by the node.
 *
 * Fails, returning NULL: usage - the node is not discrete or `state` is out of range.
 */
TV_API const char* tv_node_get_state_label(const tv_node_t* node, size_t state);

/**
 * The index of the one state with this label. -1 with status none when no state has it and also when
 * several have it. -1 with status usage when the node is not discrete.
 */
TV_API ptrdiff_t tv_node_get_state_index_from_label(const tv_node_t* node, const char* label);

/**
 * Sets the number that a state stands for (subtype number, `state` 0 to n - 1), or a bound of an interval
 * (subtype interval, `state` 0 to n: state i covers bound i to bound i + 1). Until they are set, numbers
 * are -1, inner bounds are -1, and the outer bounds are the lowest and the highest finite double. The outer
 * bounds may be set to minus and plus infinity. The order of the values is not checked.
 *
 * Fails: usage - the node is not discrete of these subtypes, `state` is out of range, or `value` is NaN, or
 * infinite where it is not an outer bound.
 */
TV_API tv_status_t tv_node_set_state_value(tv_node_t* node, size_t state, double value);

/**
 * The number of a state or a bound of an interval, as for tv_node_set_state_value.
 *
 * Fails, returning -1.0: usage - wrong kind or subtype, or `state` out of range.
 */
TV_API double tv_node_get_state_value(const tv_node_t* node, size_t state);

/**
 * Permutes the states of a discrete node and uncompiles the domain: `order` holds as many indices as there
 * are states, and the state that was number order[i] becomes state i. Labels, state values, tables (its own
 * and its children's) and entered evidence move along.
 *
 * Fails: usage - the node is not discrete, or `order` is not a permutation of 0 to n - 1.
 */
TV_API tv_status_t tv_node_reorder_states(tv_node_t* node, const size_t* order);

/** @} */

/**
 * @defgroup attributes Attributes
 * Free texts stored under a key, on a domain or on a node, kept in files.
 * @{
 */

/**
 * Stores `value` under `key`, both copied. A key that is there keeps its place in the list; a new key comes
 * first. A null `value` removes the key, and it is no failure if it was not there.
 *
 * Fails: invalid_name - the key does not have the form of a C identifier, or stands for something else in files:
 * of a domain node_size, inputs and outputs; of a node label, position, states, subtype and state_values.
 */
TV_API tv_status_t tv_domain_set_attribute(tv_domain_t* domain, const char* key, const char* value);

/** The same for a node. */
TV_API tv_status_t tv_node_set_attribute(tv_node_t* node, const char* key, const char* value);

/** The value stored under `key`, owned by the domain; NULL with status none when there is none. */
TV_API const char* tv_domain_get_attribute(const tv_domain_t* domain, const char* key);

/** The same for a node. */
TV_API const char* tv_node_get_attribute(const tv_node_t* node, const char* key);

/**
 * The first entry of the list of attributes, newest key first (in file order for those that a parser read);
 * NULL with status none when the list is empty. Entries live until their key is removed.
 */
TV_API tv_attribute_t* tv_domain_get_first_attribute(const tv_domain_t* domain);

/** The same for a node. */
TV_API tv_attribute_t* tv_node_get_first_attribute(const tv_node_t* node);

/** The next entry of the list; NULL with status none at its end. */
TV_API tv_attribute_t* tv_attribute_get_next(const tv_attribute_t* attribute);

/** The key of an entry, owned by it. */
TV_API const char* tv_attribute_get_key(const tv_attribute_t* attribute);

/** The value of an entry, owned by it and valid until the key is set again. */
TV_API const char* tv_attribute_get_value(const tv_attribute_t* attribute);

/** @} */

/**
 * @defgroup user_data User data
 * One pointer of yours for each object (convention 12); cliques and trees have a second one. Those of
 * tables are with the tables. The getters return NULL with status none where nothing has been set.
 * @{
 */

/** Stores a pointer with a domain. Null is allowed as `data`. */
TV_API tv_status_t tv_domain_set_user_data(tv_domain_t* domain, void* data);

/** The pointer stored with a domain. */
TV_API void* tv_domain_get_user_data(const tv_domain_t* domain);

/** Stores a pointer with a node. Null is allowed as `data`. */
TV_API tv_status_t tv_node_set_user_data(tv_node_t* node, void* data);

/** The pointer stored with a node. */
TV_API void* tv_node_get_user_data(const tv_node_t* node);

/** Stores a pointer with a clique, until the domain is uncompiled. Null is allowed as `data`. */
TV_API tv_status_t tv_clique_set_user_data(tv_clique_t* clique, void* data);

/** The pointer stored with a clique. */
TV_API void* tv_clique_get_user_data(const tv_clique_t* clique);

/** Stores a pointer with a junction tree, until the domain is uncompiled. Null is allowed as `data`. */
TV_API tv_status_t tv_jt_set_user_data(tv_junction_tree_t* jt, void* data);

/** The pointer stored with a junction tree. */
TV_API void* tv_jt_get_user_data(const tv_junction_tree_t* jt);

/** Stores a second pointer with a clique, meant for bindings of other languages. Null is allowed. */
TV_API tv_status_t tv_clique_set_back_pointer(tv_clique_t* clique, void* pointer);

/** The second pointer stored with a clique. */
TV_API void* tv_clique_get_back_pointer(const tv_clique_t* clique);

/** Stores a second pointer with a junction tree, meant for bindings of other languages. Null is allowed. */
TV_API tv_status_t tv_jt_set_back_pointer(tv_junction_tree_t* jt, void* pointer);

/** The second pointer stored with a junction tree. */
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
 * A discrete parent goes to the front of the child's parents and becomes the first, slowest varying, node
 * of the child's table, whose present numbers are repeated for each of the new parent's states; so the
 * child does not depend on it yet. Other parents go to the end of the list. The experience and fading
 * tables follow.
 *
 * Fails: usage - the nodes belong to different domains, the link exists, either is an instance node, or,
 * for a child that is not a function node, the parent is a utility node, or the child is discrete and the
 * parent continuous; cyclic_network - a directed path leads from child to parent (or they are the same
 * node); cyclic_functional_dependency - function nodes would depend on themselves; functional_dependency -
 * the link would run into function nodes in a way that decision models do not support.
 */
TV_API tv_status_t tv_node_add_parent(tv_node_t* child, tv_node_t* parent);

/**
 * Removes the link from `parent` to `child` and uncompiles the domain. The child's table becomes the
 * average over the parent's states; the experience and fading tables likewise. Of a continuous parent the
 * coefficients are dropped.
 *
 * Fails: usage - there is no such link.
 */
TV_API tv_status_t tv_node_remove_parent(tv_node_t* child, tv_node_t* parent);

/**
 * The same for discrete parents only. Fails: usage - there is no such link, or the parent is not discrete.
 */
TV_API tv_status_t tv_node_remove_discrete_parent(tv_node_t* child, tv_node_t* parent);

/**
 * Puts `new_parent` in the place of `old_parent`, keeping the numbers of the child's table, and uncompiles
 * the domain.
 *
 * The two must be compatible: same category and kind; discrete nodes also the same subtype and number of
 * states, and then the same labels state by state (label), the same state values (number) or the same
 * bounds (interval).
 *
 * Fails: usage - `old_parent` is not a parent, `new_parent` is one already or belongs to another domain, or
 * the two are not compatible; cyclic_network, cyclic_functional_dependency and functional_dependency as for
 * tv_node_add_parent.
 */
TV_API tv_status_t tv_node_switch_parent(tv_node_t* child, tv_node_t* old_parent, tv_node_t* new_parent);

/**
 * Turns the link between two chance nodes round, whichever way it runs, without changing the joint
 * distribution, and uncompiles the domain (arc reversal; Shachter 1986, 1988).
 *
 * Each of the two also takes the other's parents, and both get new tables, so a reversal may add links.
 *
 * Fails: usage - the nodes are not both chance nodes of the same kind, one has a model, or no link joins them;
 * cyclic_network - another directed path leads from the parent to the child; invalid_probability_potential
 * - a table has a negative or infinite number or a distribution whose sum is zero, or the reversed
 * distribution is not defined because some configuration of its parents has probability zero; overflow - a
 * number of a continuous node's new distribution is too large.
 */
TV_API tv_status_t tv_node_reverse_edge(tv_node_t* node1, tv_node_t* node2);

/** @} */

/**
 * @defgroup graph Graph queries
 * @{
 */

/** The parents: discrete ones first, the newest in front, then the others. Owned by the node. */
TV_API tv_node_t** tv_node_get_parents(const tv_node_t* node);

/** The children. Owned by the node. */
TV_API tv_node_t** tv_node_get_children(const tv_node_t* node);

/** All nodes from which a directed path leads to the node, each once, without itself. Yours: free(). */
TV_API tv_node_t** tv_node_get_ancestors(const tv_node_t* node);

/** All nodes to which a directed path leads from the node, each once, without itself. Yours: free(). */
TV_API tv_node_t** tv_node_get_descendants(const tv_node_t* node);

/** @} */

/**
 * @defgroup display Display
 * What an editor needs to draw the network. The library only stores it, in units of the host's choice.
 * @{
 */

/** Sets the size of the symbol of every node of the domain. Fails: usage - one of them is all ones. */
TV_API tv_status_t tv_domain_set_node_size(tv_domain_t* domain, size_t width, size_t height);

/** Gets the size of the symbols, 80 by 40 until it is set. On failure nothing is written. */
TV_API tv_status_t tv_domain_get_node_size(const tv_domain_t* domain, size_t* width, size_t* height);

/** Sets the position of a node's symbol. */
TV_API tv_status_t tv_node_set_position(tv_node_t* node, long x, long y);

/** Gets the position of a node's symbol, (0, 0) until it is set. On failure nothing is written. */
TV_API tv_status_t tv_node_get_position(const tv_node_t* node, long* x, long* y);

/** Sets the text to show for a node: free, copied, need not be unique. */
TV_API tv_status_t tv_node_set_label(tv_node_t* node, const char* label);

/** The text to show for a node, "" until it is set. Owned by the node. */
TV_API const char* tv_node_get_label(const tv_node_t* node);

/** @} */

/**
 * @defgroup node_tables Tables of nodes
 * @{
 */

/**
 * The table of a node, owned by the node and created when first asked for; its numbers when tv_table_get_data is.
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
 * Fails, returning NULL: usage - a real-valued function node, which has no table.
 */
TV_API tv_table_t* tv_node_get_table(tv_node_t* node);

/**
 * Sets the distribution of a continuous node in one configuration of its discrete parents. The node is normal
 * around `intercept` plus the sum of each continuous parent times its coefficient, with the conditional
 * variance, which is 0 for a node that is a linear function of its parents. A new node has intercept 0,
 * coefficients 0 and variance 1 in every configuration. Configurations are numbered as in the node's table,
 * whose discrete nodes are the discrete parents (convention 9); a node without any has configuration 0 only.
 *
 * Adding a discrete parent repeats what is set, removing one averages it over its states; removing a
 * continuous parent drops its coefficients. The domain stays compiled, as after tv_node_touch_table.
 *
 * Fails: usage - not a continuous node, no such configuration, a value that is NaN or infinite, a negative
 * variance, or `parent` is not a continuous parent of the node.
 */
TV_API tv_status_t tv_node_set_intercept(tv_node_t* node, size_t configuration, double value);
/** The same for the coefficient of a continuous parent. Fails like tv_node_set_intercept. */
TV_API tv_status_t tv_node_set_coefficient(tv_node_t* node, tv_node_t* parent, size_t configuration,
                                           double value);
/** The same for the conditional variance. Fails like tv_node_set_intercept. */
TV_API tv_status_t tv_node_set_conditional_variance(tv_node_t* node, size_t configuration, double value);

/** The intercept of a continuous node. Fails like tv_node_set_intercept, returning -1.0. */
TV_API double tv_node_get_intercept(tv_node_t* node, size_t configuration);
/** The coefficient of a continuous parent. Fails like tv_node_set_intercept, returning -1.0. */
TV_API double tv_node_get_coefficient(tv_node_t* node, tv_node_t* parent, size_t configuration);
/** The conditional variance of a continuous node. Fails like tv_node_set_intercept, returning -1.0. */
TV_API double tv_node_get_conditional_variance(tv_node_t* node, size_t configuration);

/**
 * The experience table of a chance node: for each configuration of its discrete parents, how many cases
 * stand behind the distribution. Over the discrete parents only; created with zeros when first asked for.
 * Owned by the node; tv_table_delete removes it.
 *
 * Fails, returning NULL: usage - not a chance node.
 */
TV_API tv_table_t* tv_node_get_experience_table(tv_node_t* node);

/**
 * The fading table of a discrete chance node: for each configuration of its parents, the factor by which
 * older experience is discounted. Over the parents only; created with ones when first asked for. Owned by
 * the node; tv_table_delete removes it.
 *
 * Fails, returning NULL: usage - not a discrete chance node.
 */
TV_API tv_table_t* tv_node_get_fading_table(tv_node_t* node);

/** Whether the node has an experience table now. Creates nothing. */
TV_API int tv_node_has_experience_table(const tv_node_t* node);

/** Whether the node has a fading table now. Creates nothing. */
TV_API int tv_node_has_fading_table(const tv_node_t* node);

/**
 * Tells the library that the numbers of a node's table have been changed. The next propagation checks them
 * and starts from a reset. Call it after every direct change through tv_table_get_data. The domain stays
 * compiled, and the present beliefs stay as they are until you propagate.
 *
 * Joint marginals and clique tables stay, too, if you ask tv_table_get_data for the numbers after the last
 * propagation and before you change them. Changed through a pointer from before, they may be gone:
 * no_equilibrium until you propagate.
 */
TV_API tv_status_t tv_node_touch_table(tv_node_t* node);

/** @} */

/**
 * @defgroup tables Tables
 * Shared by the tables of nodes, of cliques, and the marginals that you ask for. A table over k discrete
 * nodes has one number for each configuration of them (convention 9). With n continuous nodes each
 * configuration also has n(n + 3) / 2 numbers: for continuous node i its mean and its covariances with
 * nodes 0 to i.
 * @{
 */

/**
 * The nodes of a table: discrete ones in index order, then continuous ones. Owned by the table.
 *
 * A table that is yours (tv_domain_get_marginal, tv_node_get_distribution) keeps its numbers and the sizes that
 * its nodes had, whatever becomes of them. Once one of them, or their domain, has been deleted, it has no
 * list of nodes and cannot be reordered any more.
 *
 * Fails, returning NULL: usage - a node of the table has been deleted.
 */
TV_API tv_node_t** tv_table_get_nodes(const tv_table_t* table);

/**
 * The numbers of a table, tv_table_get_size of them, in the order of convention 9. They are allocated when
 * first asked for. You may write into the data of a node's table (then call tv_node_touch_table) and of a
 * marginal; the data of a clique's table show the propagated numbers and are for reading. The pointer holds
 * until the table is reordered, resized or deleted; for a clique, until the next propagation.
 *
 * Fails, returning NULL: no_memory - also when the size does not fit into a size_t.
 */
TV_API tv_number_t* tv_table_get_data(tv_table_t* table);

/**
 * How many configurations the discrete nodes have; 1 without discrete nodes.
 *
 * Fails, returning all ones: size_too_large - the product does not fit into a size_t.
 */
TV_API size_t tv_table_get_size(const tv_table_t* table);

/**
 * How many numbers describe the continuous nodes, over all configurations: size times n(n + 3) / 2.
 *
 * Fails, returning all ones: size_too_large - it does not fit into a size_t.
 */
TV_API size_t tv_table_get_cg_size(const tv_table_t* table);

/**
 * The mean of a continuous node in configuration `index`.
 *
 * Fails, returning -1.0 (which a mean may be too; see tv_error_code): usage - `index` is not below the
 * size, the node is not a continuous node of the table, or the table is conditional on a continuous node.
 */
TV_API double tv_table_get_mean(tv_table_t* table, size_t index, tv_node_t* node);

/**
 * The covariance of two continuous nodes (the variance, for twice the same). Fails like tv_table_get_mean.
 */
TV_API double tv_table_get_covariance(tv_table_t* table, size_t index, tv_node_t* node1, tv_node_t* node2);

/** The variance of a continuous node. Fails like tv_table_get_mean. */
TV_API double tv_table_get_variance(tv_table_t* table, size_t index, tv_node_t* node);

/**
 * The density of a continuous node at a value: that of the mixture of normal distributions, one for each
 * configuration, weighted by the table's data, which are divided by their sum.
 *
 * Fails, returning -1.0: usage - the node is not a continuous node of the table, the table is conditional on a
 * continuous node, or the value is not finite; normalization - the data do not sum to more than zero;
 * zero_variance - the value itself has a positive probability.
 */
TV_API double tv_table_compute_density(tv_table_t* table, tv_node_t* node, double value);

/**
 * The probability that a continuous node lies from `low` to `high`, which may be infinite. Fails like
 * tv_table_compute_density, and with usage when `low` is above `high` or either is not a number.
 */
TV_API double tv_table_compute_probability_of_interval(tv_table_t* table, tv_node_t* node, double low,
                                                       double high);

/**
 * The index of a configuration, `states` holding one state for each discrete node in table order. For A (2
 * states), B (3 states): (1, 0) has index 3.
 *
 * Fails, returning all ones: usage - a state is out of range; size_too_large - the size does not fit.
 */
TV_API size_t tv_table_get_index_from_configuration(const tv_table_t* table, const size_t* states);

/**
 * The configuration of an index: writes one state for each discrete node, in table order, to `states`.
 * For A (2 states), B (3 states): index 5 is (1, 2).
 *
 * Fails, writing nothing: usage - `index` is not below the size.
 */
TV_API tv_status_t tv_table_get_configuration_from_index(const tv_table_t* table, size_t* states,
                                                         size_t index);

/**
 * Puts the nodes of a table into another order and permutes its numbers accordingly. Pointers to its data
 * become invalid. The present order does nothing.
 *
 * Fails: usage - `order` does not hold exactly the nodes of the table, a continuous node stands before a
 * discrete one, a discrete node would not be the last discrete node of its own table, the table belongs to a
 * clique, or one of its nodes has been deleted.
 */
TV_API tv_status_t tv_table_reorder_nodes(tv_table_t* table, tv_node_t** order);

/**
 * Deletes a table that is yours (tv_domain_get_marginal) or a node's experience or fading table. Any other
 * table belongs to a node or a clique: it is left alone, and the call succeeds.
 */
TV_API tv_status_t tv_table_delete(tv_table_t* table);

/** Stores a pointer of yours with a table. Null is allowed as `data`. */
TV_API tv_status_t tv_table_set_user_data(tv_table_t* table, void* data);

/** The pointer stored with a table; NULL with status none when nothing has been stored. */
TV_API void* tv_table_get_user_data(const tv_table_t* table);

/** Stores a pointer with a model. */
TV_API tv_status_t tv_model_set_user_data(tv_model_t* model, void* data);

/** The pointer stored with a model. */
TV_API void* tv_model_get_user_data(const tv_model_t* model);

/** @} */

/**
 * @defgroup expressions Expressions
 * An expression is a formula over the nodes of a domain. It gives a number, a label, a truth value or a
 * probability distribution. Expressions are trees: a leaf is a number, a label, a truth value or a node, and
 * a composite has an operator and its operands.
 *
 * A composite holds its operands and a model holds its expressions: deleting what is held does nothing, and
 * what its last holder gives up is gone. An expression that nobody holds is yours, to be released with
 * tv_expression_delete. An expression must not outlive its nodes; those that models hold are looked after.
 *
 * Types: arithmetic and the parameters of distributions take numbers; `and`, `or`, `not` and conditions take
 * truth values; a comparison takes operands of one type. What a discrete node stands for hangs on its subtype
 * (a label, a truth value, or the number of its state), which may still change when the expression is made;
 * it is checked when a table is generated. Continuous, utility and function nodes stand for numbers.
 *
 * As text: `a + b * #c ^ 2`, `if (Smoker, Beta (2, 3), Uniform (0, 1))`, `Colour == "red"`. From the loosest:
 * one comparison (`==` or `=`, `!=` or `<>`, `<`, `<=`, `>`, `>=`), `+` and `-`, `*` and `/`, `^` from right to
 * left. A sign in front counts for the whole first term: `-2 ^ 2` is -4. `#node` is the index of a discrete
 * node's state. A node named `true` or `false` goes before the truth value.
 *
 * Expressions are at most 2000 operators high.
 * @{
 */

/** A new number. Infinite numbers and NaN print as what cannot be read back. */
TV_API tv_expression_t* tv_number_make_expression(double number);

/** A new truth value: true unless `value` is 0. */
TV_API tv_expression_t* tv_boolean_make_expression(int value);

/** A new label. The text is copied. */
TV_API tv_expression_t* tv_label_make_expression(const char* label);

/** A new node leaf. Fails, returning NULL: usage - an instance node; no_memory. */
TV_API tv_expression_t* tv_node_make_expression(tv_node_t* node);

/**
 * A new composite of an operator and a list of operands, which it holds from now on. An operand may stand in
 * it more than once and in other composites too.
 *
 * Fails, returning NULL and leaving the operands alone: usage - no such operator, or that of a leaf;
 * invalid_expression - the wrong number of operands, wrong types, an argument of `probability` that does not
 * mention exactly one node, a discrete one, or that contains `probability` itself, or an expression that
 * would be too high; no_memory.
 */
TV_API tv_expression_t* tv_make_composite_expression(tv_operator_t op, tv_expression_t** operands);

/** Whether the expression is a composite (1) or a leaf (0). */
TV_API int tv_expression_is_composite(const tv_expression_t* expression);

/** The operator of a composite or the kind of a leaf. */
TV_API tv_operator_t tv_expression_get_operator(const tv_expression_t* expression);

/** The operands of a composite. Owned by the expression. Fails, returning NULL: usage - a leaf. */
TV_API tv_expression_t** tv_expression_get_operands(const tv_expression_t* expression);

/** The node of a node leaf. Fails, returning NULL: usage - another expression. */
TV_API tv_node_t* tv_expression_get_node(const tv_expression_t* expression);

/** The number of a number leaf. Fails, returning -1.0: usage - another expression. */
TV_API double tv_expression_get_number(const tv_expression_t* expression);

/** The text of a label leaf, owned by it. Fails, returning NULL: usage - another expression. */
TV_API const char* tv_expression_get_label(const tv_expression_t* expression);

/** The truth value of a boolean leaf, 0 or 1. Fails, returning -1: usage - another expression. */
TV_API int tv_expression_get_boolean(const tv_expression_t* expression);

/** A copy with operands of its own. Yours. */
TV_API tv_expression_t* tv_expression_clone(const tv_expression_t* expression);

/**
 * Releases an expression and the operands that nobody else holds. An expression that a composite or a model
 * holds is left alone, without a failure.
 */
TV_API tv_status_t tv_expression_delete(tv_expression_t* expression);

/**
 * Reads an expression over the nodes of a domain. The whole text must be one expression. The result is yours.
 * The handler, which may be null, is told of the error; positions count characters.
 *
 * Fails, returning NULL: syntax - the text is no expression, or mentions no node of the domain;
 * invalid_expression - as for tv_make_composite_expression; no_memory.
 */
TV_API tv_expression_t* tv_string_to_expression(const char* text, tv_domain_t* domain,
                                                tv_error_handler_t handler, void* handler_data);

/** The same as tv_string_to_expression, with the domain in front. */
TV_API tv_expression_t* tv_domain_string_to_expression(tv_domain_t* domain, const char* text,
                                                       tv_error_handler_t handler, void* handler_data);

/** Another name of tv_string_to_expression. */
TV_API tv_expression_t* tv_string_parse_expression(const char* text, tv_domain_t* domain,
                                                   tv_error_handler_t handler, void* handler_data);

/**
 * The expression as text, with the fewest parentheses, to be released with free(). Reading it gives the same
 * expression, but for the digits of numbers beyond six. Nodes without a name get one.
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
 * Models follow the network: a parent that goes takes the expressions that mention it along, a model node leaves
 * those of its first state, new states of a model node have no expression yet.
 *
 * A real-valued function node has no table: its value is computed when asked for (tv_node_get_value) from the
 * results of its parents. A discrete function node has a table over its own states, computed likewise.
 * @{
 */

/**
 * Gives a node a model, without expressions yet. `model_nodes` are discrete parents of the node; the first
 * of them varies slowest in the order of the expressions.
 *
 * Fails, returning NULL: usage - the node has a model, is continuous or an instance node, or an entry of the
 * list is no discrete parent or stands there twice; no_memory.
 */
TV_API tv_model_t* tv_node_new_model(tv_node_t* node, tv_node_t** model_nodes);

/** The model of a node; NULL with status none when there is none. */
TV_API tv_model_t* tv_node_get_model(const tv_node_t* node);

/** The model nodes. Owned by the model. */
TV_API tv_node_t** tv_model_get_nodes(const tv_model_t* model);

/** How many expressions there are: the number of configurations of the model nodes. */
TV_API size_t tv_model_get_size(const tv_model_t* model);

/** Deletes the model of a node. The node keeps the table that was generated last. */
TV_API tv_status_t tv_model_delete(tv_model_t* model);

/**
 * Sets the expression for one configuration of the model nodes, or, with a null expression, unsets it. The
 * model holds the expression from now on; the one that stood there is released.
 *
 * Fails: usage - the index is not below the model's size, or the expression mentions a node of another
 * domain; no_memory.
 */
TV_API tv_status_t tv_model_set_expression(tv_model_t* model, size_t index, tv_expression_t* expression);

/**
 * The expression for one configuration of the model nodes, held by the model; NULL with status none where
 * there is none. Fails, returning NULL: usage - the index is not below the model's size.
 */
TV_API tv_expression_t* tv_model_get_expression(const tv_model_t* model, size_t index);

/** In how many points intervals of parents are sampled, 25 at first. Fails: usage - `count` is 0 or all ones. */
TV_API tv_status_t tv_model_set_number_of_samples_per_interval(tv_model_t* model, size_t count);

/** The number of sample points per interval. */
TV_API size_t tv_model_get_number_of_samples_per_interval(const tv_model_t* model);

/**
 * Generates a node's table from its model now, unless it agrees with the model already. Compiling and
 * propagating do this by themselves. What is done, and what is wrong, is written to the domain's log.
 *
 * Fails, leaving the table as it was: usage - no model, or a real-valued function node; invalid_expression -
 * an expression is missing or does not suit the node, or gives a value that is none of its states;
 * invalid_state_values - of the node or a parent; insufficient_state_range - the states do not cover the
 * distribution; inappropriate_arguments - of a function or a distribution; division_by_zero;
 * computation_failed - no finite number; invalid_probability_potential; not_compiled, no_equilibrium - the
 * table hangs on results that are not there; io - the log could not be written.
 */
TV_API tv_status_t tv_node_generate_table(tv_node_t* node);

/**
 * Generates the tables of all nodes with models that have changed, in the order of the domain's nodes, and
 * stops at the first failure. Fails like tv_node_generate_table.
 */
TV_API tv_status_t tv_domain_generate_tables(tv_domain_t* domain);

/** @} */

/**
 * @defgroup settings Threads, log and progress
 * Threads change the time an operation takes, never its result.
 * @{
 */

/** The least work, in table entries, that is worth a thread. Fails, keeping it: usage - `size` is 0. */
TV_API tv_status_t tv_domain_set_grain_size(tv_domain_t* domain, size_t size);

/** The grain size, 10000 until it is set. All ones on failure. */
TV_API size_t tv_domain_get_grain_size(const tv_domain_t* domain);

/**
 * The most threads that work on one operation of this domain, including the calling one; never more than its
 * work deserves (the grain size), nor than the process has processors. All have ended when the call returns.
 * Fails, keeping it: usage - `level` is 0.
 */
TV_API tv_status_t tv_domain_set_concurrency_level(tv_domain_t* domain, size_t level);

/** The concurrency level, 1 (no further threads) until it is set. All ones on failure. */
TV_API size_t tv_domain_get_concurrency_level(const tv_domain_t* domain);

/** The same for learning, which this version does not offer. Fails, keeping it: usage - `level` is 0. */
TV_API tv_status_t tv_domain_set_em_concurrency_level(tv_domain_t* domain, size_t level);

/** The concurrency level of learning, 1 until it is set. All ones on failure. */
TV_API size_t tv_domain_get_em_concurrency_level(const tv_domain_t* domain);

/**
 * Sets the stream to which the domain writes a trace of its compilation and the reports of its potentials
 * and first beliefs; null for no trace. The stream is yours: the library writes and flushes, and never
 * closes it. It must stay open while it is set. A failed write makes the operation at hand fail with
 * tv_status_io.
 */
TV_API tv_status_t tv_domain_set_log_file(tv_domain_t* domain, FILE* stream);

/**
 * Sets a function that is called now and then, on the calling thread, during triangulation and propagation;
 * null for none. It gets the task, the fraction done (-1 where it is unknown) and `handler_data`.
 *
 * When it returns anything but 0, the operation stops, fails with tv_status_error and leaves the domain as
 * any other failure of that operation does. The handler must not call functions on the same domain, except
 * those that only read names and numbers of nodes.
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
 * Compiles a domain: triangulates it with tv_method_best_greedy unless that has been done, allocates the
 * tables, and propagates once (sum equilibrium, normal mode) with the evidence that is entered already.
 * Afterwards beliefs can be read.
 *
 * A domain that was triangulated before the call stays triangulated on failure; otherwise a failure leaves
 * nothing behind, with one exception: when the memory limit (tv_domain_set_memory_limit) forbids the tables,
 * the triangulation stays, also one that this call has made, so that you can look at it.
 *
 * Fails: usage - the domain has no discrete or continuous node, or is compiled already; no_memory - the
 * tables do not fit, or would exceed the memory limit; invalid_probability_potential - a table has a
 * negative, infinite or NaN entry, or a distribution whose sum is zero or infinite; invalid_evidence - the
 * entered evidence may not be propagated (see tv_domain_propagate); inconsistency_or_underflow - the entered
 * evidence is impossible; low_density, zero_variance - the entered values have no density (see
 * tv_domain_propagate); io - writing the log failed; error - the progress handler asked to stop.
 */
TV_API tv_status_t tv_domain_compile(tv_domain_t* domain);

/**
 * Throws away what triangulation and compilation made: cliques, trees, tables, beliefs, the elimination
 * order. Entered evidence stays. Nothing happens to a domain that has none of it; that is no failure.
 */
TV_API tv_status_t tv_domain_uncompile(tv_domain_t* domain);

/** Whether the domain is compiled. */
TV_API int tv_domain_is_compiled(const tv_domain_t* domain);

/** Whether the domain has a junction forest, with or without tables. */
TV_API int tv_domain_is_triangulated(const tv_domain_t* domain);

/**
 * Builds the junction forest with the method of your choice, without tables; tv_domain_compile does the
 * rest.
 *
 * The graph is first split into its prime components, which meet in complete sets and are independent of
 * each other (Tarjan 1985; Leimer 1993); each is triangulated by itself, and superfluous fill-ins are
 * removed (Kjaerulff 1990). The result is the same on every machine.
 *
 * Fails: usage - the domain has no discrete or continuous node, or is triangulated already, or `method` is
 * none of the six, or it is total_weight while a maximum separator size but no initial triangulation is
 * set; io - writing the log failed; error - total_weight (not available in this version), or the progress
 * handler asked to stop.
 */
TV_API tv_status_t tv_domain_triangulate(tv_domain_t* domain, tv_triangulation_method_t method);

/**
 * The same with a given elimination order: every discrete and continuous node exactly once, the continuous
 * ones first. Nodes are eliminated in exactly this order; superfluous fill-ins are removed afterwards, and
 * tv_domain_get_elimination_order may then show another order with the same cliques.
 *
 * Fails: usage - as for tv_domain_triangulate; enumeration - the order holds a node of another domain, a
 * utility or real-valued function node, a node twice, a continuous node after a discrete one, or not all
 * nodes; io - writing the log failed; error - the progress handler asked to stop.
 */
TV_API tv_status_t tv_domain_triangulate_with_order(tv_domain_t* domain, tv_node_t** order);

/**
 * Stores an elimination order as the starting point of tv_method_total_weight; null removes it. It is
 * copied, and dropped by any change of structure. In this version it is kept but not used.
 *
 * Fails: enumeration - as for tv_domain_triangulate_with_order.
 */
TV_API tv_status_t tv_domain_set_initial_triangulation(tv_domain_t* domain, tv_node_t** order);

/**
 * The elimination order of the present triangulation, first eliminated first. It is derived from the
 * cliques: eliminating in this order gives exactly them, but a user's order may come back changed. Owned by
 * the domain until it is uncompiled.
 *
 * Fails, returning NULL: usage - the domain is not triangulated.
 */
TV_API tv_node_t** tv_domain_get_elimination_order(tv_domain_t* domain);

/**
 * Limits how many minimal separators tv_method_total_weight looks at before it splits the graph; 0 for no
 * limit. In this version it is kept but not used.
 */
TV_API tv_status_t tv_domain_set_max_number_of_separators(tv_domain_t* domain, size_t count);

/** The limit, 0 (none) until it is set. All ones on failure. */
TV_API size_t tv_domain_get_max_number_of_separators(const tv_domain_t* domain);

/**
 * Limits how many members the separators have that tv_method_total_weight looks at; 0 for no limit. When it
 * is set, that method needs an initial triangulation. Otherwise it is not used in this version.
 */
TV_API tv_status_t tv_domain_set_max_separator_size(tv_domain_t* domain, size_t size);

/** The limit, 0 (none) until it is set. All ones on failure. */
TV_API size_t tv_domain_get_max_separator_size(const tv_domain_t* domain);

/**
 * The cost of the triangulation: the sum over all cliques of the size of the clique's table (with the
 * numbers for continuous members).
 *
 * Fails, returning all ones: usage - the domain is not triangulated; size_too_large - it does not fit into
 * a size_t.
 */
TV_API size_t tv_domain_get_jt_cost(tv_domain_t* domain);

/**
 * How many bytes tv_domain_compile will allocate for the present triangulation: tables of cliques and
 * separators, or what is kept in their place, plans, beliefs. Nothing is allocated to find out. Not counted
 * are the network and its triangulation, which are there already, and what later calls may ask for: clique
 * tables that you read, tv_domain_save_to_memory, joint marginals, plans kept for questions that are asked
 * again (at most a quarter of the tables or a megabyte in all trees together, and done without where memory
 * is short), working memory of threads. Large cliques are kept without a table where that can be done; they
 * get theirs for fast retraction, for tv_domain_save_to_memory, and where a product of potentials and messages
 * nearly vanishes.
 *
 * Fails, returning all ones: usage - the domain is not triangulated; size_too_large - it does not fit into
 * a size_t.
 */
TV_API size_t tv_domain_get_memory_need(tv_domain_t* domain);

/**
 * Limits the memory of compilation and of tables, in bytes; 0, the default, is no limit. tv_domain_compile computes
 * the need (tv_domain_get_memory_need) before it allocates any of it, and where it exceeds the limit fails
 * with tv_status_no_memory; the domain is then triangulated. A compiled domain stays as it is. The same limit
 * holds for the numbers of the domain's tables, and those that it has given you, together with what compilation
 * holds: what would make more of them (tv_table_get_data, a model, another parent, a marginal) fails with
 * tv_status_no_memory; tv_table_get_size tells beforehand. Clones have the same limit.
 */
TV_API tv_status_t tv_domain_set_memory_limit(tv_domain_t* domain, size_t bytes);

/** The limit, 0 (none) until it is set. All ones on failure. */
TV_API size_t tv_domain_get_memory_limit(const tv_domain_t* domain);

/**
 * Names discrete nodes that must each have a selected state before any propagation; without one, it fails
 * with tv_status_invalid_evidence. The list is copied; null removes the requirement. The tables are then
 * built for the selected states, and rebuilt when those change.
 *
 * Fails: usage - a node belongs to another domain, is not discrete, or stands in the list twice.
 */
TV_API tv_status_t tv_domain_set_ijt_nodes(tv_domain_t* domain, tv_node_t** nodes);

/**
 * Keeps a copy in memory of the junction tree tables without evidence, so that each later reset (see
 * tv_domain_propagate) is a copy instead of a computation. It costs as much memory again as the tables. Trees
 * that are in sum equilibrium without evidence are copied at once, others at their next reset; touching a
 * table makes a new copy necessary, which the next reset makes. Uncompiling forgets the wish.
 *
 * Fails: not_compiled.
 */
TV_API tv_status_t tv_domain_save_to_memory(tv_domain_t* domain);

/** Gives the copy up and frees its memory. It is no failure if there is none. Fails: not_compiled. */
TV_API tv_status_t tv_domain_reclaim_memory_tables(tv_domain_t* domain);

/** @} */

/**
 * @defgroup forest Cliques and junction trees
 * Queries over what triangulation built. The handles and lists live until the domain is uncompiled.
 * @{
 */

/**
 * The first clique of the domain's list. Parents stand before their children, so the root of each tree
 * comes before the rest of the tree.
 *
 * Fails, returning NULL: usage - the domain is not triangulated.
 */
TV_API tv_clique_t* tv_domain_get_first_clique(const tv_domain_t* domain);

/** The next clique of the domain's list; NULL with status none at its end. */
TV_API tv_clique_t* tv_clique_get_next(const tv_clique_t* clique);

/** How many cliques there are. Fails, returning all ones: usage - the domain is not triangulated. */
TV_API size_t tv_domain_get_number_of_cliques(const tv_domain_t* domain);

/** The members of a clique, in the order of its table. Owned by the library. */
TV_API tv_node_t** tv_clique_get_members(tv_clique_t* clique);

/** How many members a clique has. All ones on failure. */
TV_API size_t tv_clique_get_number_of_members(const tv_clique_t* clique);

/** The neighbours of a clique in its tree, its parent (towards the root) first. Owned by the clique. */
TV_API tv_clique_t** tv_clique_get_neighbors(tv_clique_t* clique);

/** How many neighbours a clique has. All ones on failure. */
TV_API size_t tv_clique_get_number_of_neighbors(tv_clique_t* clique);

/** The tree that a clique belongs to. */
TV_API tv_junction_tree_t* tv_clique_get_junction_tree(const tv_clique_t* clique);

/**
 * The table of a clique, owned by it. After a sum propagation its data are the joint probability of the
 * members and the evidence divided by a constant; the root's sum to one. Beliefs do not need these tables:
 * where a propagation has done without, the first call of tv_table_get_data forms them, which may take as long
 * as a propagation and fail like one.
 */
TV_API tv_table_t* tv_clique_get_probability_table(const tv_clique_t* clique);

/**
 * The table of expected utilities of a clique, owned by it; NULL with status none in a domain without utility
 * nodes. For each configuration of the members its data are the expected sum of all utilities of the tree,
 * given the configuration and the evidence; 0 where that is impossible. Like all results they are those of the
 * last propagation, whatever is entered or changed since. After a reset, before the next propagation, they are
 * the sum of the utilities that are assigned to the clique.
 *
 * tv_table_get_data fails, returning NULL: no_equilibrium - a table was changed, through a pointer to its data
 * from before the last propagation, since then.
 */
TV_API tv_table_t* tv_clique_get_utility_table(const tv_clique_t* clique);

/** The first junction tree, newest first. Fails, returning NULL: usage - the domain is not triangulated. */
TV_API tv_junction_tree_t* tv_domain_get_first_junction_tree(const tv_domain_t* domain);

/** The next junction tree of the domain's list; NULL with status none at its end. */
TV_API tv_junction_tree_t* tv_jt_get_next(const tv_junction_tree_t* jt);

/** The root of a tree: the clique that compilation began the tree with. */
TV_API tv_clique_t* tv_jt_get_root(const tv_junction_tree_t* jt);

/** The cliques of a tree, the root first. Owned by the library. */
TV_API tv_clique_t** tv_jt_get_cliques(tv_junction_tree_t* jt);

/**
 * How many discrete table entries a tree has, over all cliques and separators; twice that in a domain with
 * utility nodes.
 *
 * Fails, returning all ones: size_too_large - it does not fit into a size_t.
 */
TV_API size_t tv_jt_get_total_size(tv_junction_tree_t* jt);

/** The same for the numbers that describe continuous nodes. Fails like tv_jt_get_total_size. */
TV_API size_t tv_jt_get_total_cg_size(tv_junction_tree_t* jt);

/**
 * The tree that a node belongs to; for a utility node, the tree of the clique that its potential went to.
 *
 * Fails, returning NULL: usage - a real-valued function node, or the domain is not triangulated.
 */
TV_API tv_junction_tree_t* tv_node_get_junction_tree(const tv_node_t* node);

/**
 * The neighbours of a node in the moral graph: parents, children, other parents of its children, and, with
 * continuous nodes, necessary fill-ins; each once. Owned by the node until the domain is uncompiled.
 *
 * Fails, returning NULL: usage - the node is neither discrete nor continuous, or the domain is not
 * triangulated.
 */
TV_API tv_node_t** tv_node_get_moral_neighbors(const tv_node_t* node);

/** @} */

/**
 * @defgroup evidence Evidence
 * A node keeps two copies of its evidence: the *entered* one, changed by the functions of this group, and
 * the *propagated* one, which the present beliefs reflect. Propagation makes them equal. Evidence may be
 * entered before or after compilation.
 *
 * Evidence on a discrete node is a *finding* for each state, a number f(s) that says how well the state
 * agrees with what has been seen; the distribution is multiplied by it. One 1 and the rest 0 is *hard
 * evidence* (the state is known); several 1 and the rest 0 leave several states possible; anything else is
 * a *likelihood*; all 1 is no evidence; all 0 is impossible and makes propagation fail. Only the ratios of
 * findings matter for beliefs; their scale goes into the normalisation constant.
 * @{
 */

/**
 * Enters hard evidence: the node is known to be in this state. Replaces what was entered.
 *
 * Fails: usage - the node is not discrete or `state` is out of range.
 */
TV_API tv_status_t tv_node_select_state(tv_node_t* node, size_t state);

/**
 * Sets the finding of one state and keeps those of the others (all 1 where nothing was entered; 1 and 0s
 * where a state was selected). Values above 1 are allowed. If one 1 and otherwise 0s result, that is the
 * same as selecting the state; if all are 1, the same as retracting.
 *
 * Fails: usage - the node is not discrete, `state` is out of range, or `value` is negative, NaN, or not
 * below the largest single-precision number, 3.4028235e+38.
 */
TV_API tv_status_t tv_node_enter_finding(tv_node_t* node, size_t state, tv_number_t value);

/**
 * Enters the observed value of a continuous node. Replaces what was entered.
 *
 * Fails: usage - the node is not continuous, or `value` is NaN or infinite.
 */
TV_API tv_status_t tv_node_enter_value(tv_node_t* node, double value);

/** Takes back what was entered on a node, if anything. Fails: usage - neither discrete nor continuous. */
TV_API tv_status_t tv_node_retract_findings(tv_node_t* node);

/** Takes back what was entered on any node of the domain. */
TV_API tv_status_t tv_domain_retract_findings(tv_domain_t* domain);

/** @} */

/**
 * @defgroup evidence_queries Evidence queries
 * About entered evidence, these need no compiled domain. About propagated evidence, they fail with
 * tv_status_not_compiled when the domain is not compiled, and those about a node also with
 * tv_status_no_equilibrium when its tree holds no valid result; the argument (usage) is checked first.
 * @{
 */

/**
 * What is entered on a discrete node: a state when it is selected; -1 for nothing; -2 for anything else (a
 * likelihood, several possible states, or none possible), to be read with tv_node_get_entered_finding.
 *
 * Fails, returning -1: usage - not discrete.
 */
TV_API ptrdiff_t tv_node_get_selected_state(const tv_node_t* node);

/**
 * The finding entered for one state: 1 everywhere where nothing is entered; 1 and 0s for a selected state.
 *
 * Fails, returning -1.0: usage - the node is not discrete or `state` is out of range.
 */
TV_API tv_number_t tv_node_get_entered_finding(const tv_node_t* node, size_t state);

/**
 * The finding that the present beliefs reflect, for one state.
 *
 * Fails, returning -1.0: usage - the node is not discrete or `state` is out of range; not_compiled;
 * no_equilibrium.
 */
TV_API tv_number_t tv_node_get_propagated_finding(const tv_node_t* node, size_t state);

/**
 * What the present beliefs reflect for a discrete node: a state, -1 or -2 as for
 * tv_node_get_selected_state.
 *
 * Fails, returning -1: usage - not discrete; not_compiled; no_equilibrium.
 */
TV_API ptrdiff_t tv_node_get_propagated_state(const tv_node_t* node);

/**
 * The value entered on a continuous node.
 *
 * Fails, returning -1.0: usage - not continuous; no_value - none is entered.
 */
TV_API double tv_node_get_entered_value(const tv_node_t* node);

/**
 * The value of a continuous node that the present results reflect.
 *
 * Fails, returning -1.0: usage - not continuous; not_compiled; no_equilibrium; no_value - none is
 * propagated.
 */
TV_API double tv_node_get_propagated_value(const tv_node_t* node);

/**
 * Whether any evidence is entered on a node. Fails, returning -1: usage - neither discrete nor continuous.
 */
TV_API int tv_node_evidence_is_entered(const tv_node_t* node);

/**
 * Whether a likelihood is entered on a node: some finding that is neither 0 nor 1. No (0) for continuous
 * nodes.
 *
 * Fails, returning -1: usage - neither discrete nor continuous.
 */
TV_API int tv_node_likelihood_is_entered(const tv_node_t* node);

/**
 * Whether the present results reflect evidence on this node.
 *
 * Fails, returning -1: usage - neither discrete nor continuous; not_compiled; no_equilibrium.
 */
TV_API int tv_node_evidence_is_propagated(const tv_node_t* node);

/**
 * Whether the present results reflect a likelihood on this node. Fails like tv_node_evidence_is_propagated.
 */
TV_API int tv_node_likelihood_is_propagated(const tv_node_t* node);

/**
 * Whether the entered evidence on this node differs from the propagated one, so that propagating would
 * change something. Selecting the only state of a one-state node is no difference.
 *
 * Fails, returning -1: usage - neither discrete nor continuous; not_compiled; no_equilibrium.
 */
TV_API int tv_node_evidence_to_propagate(const tv_node_t* node);

/**
 * Whether the evidence on any node is yet to be propagated, or the required selected states
 * (tv_domain_set_ijt_nodes) have changed. Fails, returning -1: not_compiled.
 */
TV_API int tv_domain_evidence_to_propagate(const tv_domain_t* domain);

/** Whether the present results reflect any evidence. Fails, returning -1: not_compiled. */
TV_API int tv_domain_evidence_is_propagated(const tv_domain_t* domain);

/** Whether the present results reflect any likelihood. Fails, returning -1: not_compiled. */
TV_API int tv_domain_likelihood_is_propagated(const tv_domain_t* domain);

/**
 * Whether the present results reflect evidence on any continuous node. Fails, returning -1: not_compiled.
 */
TV_API int tv_domain_cg_evidence_is_propagated(const tv_domain_t* domain);

/** tv_domain_evidence_to_propagate for one tree. */
TV_API int tv_jt_evidence_to_propagate(const tv_junction_tree_t* jt);

/** tv_domain_evidence_is_propagated for one tree. */
TV_API int tv_jt_evidence_is_propagated(const tv_junction_tree_t* jt);

/** tv_domain_likelihood_is_propagated for one tree. */
TV_API int tv_jt_likelihood_is_propagated(const tv_junction_tree_t* jt);

/** tv_domain_cg_evidence_is_propagated for one tree. */
TV_API int tv_jt_cg_evidence_is_propagated(const tv_junction_tree_t* jt);

/** @} */

/**
 * @defgroup propagation Propagation
 * Messages are collected towards one clique of each tree and distributed back (Jensen, Lauritzen & Olesen
 * 1990). Where possible only what has changed is worked on. When evidence is taken back or contradicts what
 * is in the tables, the tree is first *reset*: its tables are filled again from the potentials.
 * @{
 */

/**
 * Brings all junction trees into agreement with the entered evidence, so that results can be read. When
 * there is nothing to do, it returns at once.
 *
 * When one of the checks listed first fails, nothing changes. On any later failure the trees are reset: no
 * evidence is propagated, results cannot be read (no_equilibrium) until a propagation succeeds, and the
 * entered evidence is still there to be corrected. Trees with continuous nodes, unless the progress handler
 * asked to stop or memory ran out, and trees whose initial tables are kept in memory
 * (tv_domain_save_to_memory) answer without evidence instead.
 *
 * Fails, checked in this order: usage - `equilibrium` is neither sum nor max, or `mode` is none of the two;
 * not_compiled; usage - anything but sum and normal in a domain with continuous nodes; invalid_evidence - a
 * decision has evidence other than a selected state, a chance node below an undecided decision has
 * evidence, or a required selected state is missing. Then: invalid_probability_potential - a table that was
 * touched has a negative, infinite or NaN entry or a distribution whose sum is zero or infinite;
 * inconsistency_or_underflow - the evidence is impossible, however small the probability of possible evidence
 * may be; low_density - the density of an observed value is no normal number; zero_variance - an observed
 * value was certain already, given the other ones, in a configuration of positive probability, so that it has
 * no density; overflow - likelihoods or unnormalised tables let a message grow beyond 3.40282e+38;
 * fast_retraction - zeros in the distributions defeat
 * that mode; normalization - in that mode, what is entered on all nodes but one is impossible, so that this one
 * has no belief; error - the progress handler asked to stop, or the domain needs what this version does not
 * have.
 */
TV_API tv_status_t tv_domain_propagate(tv_domain_t* domain, tv_equilibrium_t equilibrium,
                                       tv_evidence_mode_t mode);

/** The same for one tree; on failure only this tree is reset. */
TV_API tv_status_t tv_jt_propagate(tv_junction_tree_t* jt, tv_equilibrium_t equilibrium,
                                   tv_evidence_mode_t mode);

/**
 * The same for the tree of a clique, with this clique as the root of the messages. The results are the same
 * up to rounding; the root's table sums to one.
 */
TV_API tv_status_t tv_clique_propagate(tv_clique_t* clique, tv_equilibrium_t equilibrium,
                                       tv_evidence_mode_t mode);

/**
 * Whether every tree is in this equilibrium. tv_equilibrium_none may be asked for too.
 *
 * Fails, returning -1: usage - not a member of the enumeration; not_compiled.
 */
TV_API int tv_domain_equilibrium_is(const tv_domain_t* domain, tv_equilibrium_t equilibrium);

/** The same for one tree. */
TV_API int tv_jt_equilibrium_is(const tv_junction_tree_t* jt, tv_equilibrium_t equilibrium);

/**
 * Whether every tree was last propagated in this mode. Trees without propagated evidence agree with any.
 *
 * Fails, returning -1: usage - not a member of the enumeration; not_compiled; no_equilibrium - some tree
 * holds no valid result.
 */
TV_API int tv_domain_evidence_mode_is(const tv_domain_t* domain, tv_evidence_mode_t mode);

/** The same for one tree. */
TV_API int tv_jt_evidence_mode_is(const tv_junction_tree_t* jt, tv_evidence_mode_t mode);

/**
 * Fills all trees again from the potentials, without evidence, so with the policies of all decisions. The
 * entered evidence stays entered and is taken in by the next propagation; until then there may be no result to
 * read (no_equilibrium). A failure in one tree does not keep the others from being reset; the first one is
 * reported.
 *
 * Fails: not_compiled; invalid_evidence - a required selected state is missing;
 * invalid_probability_potential - as for tv_domain_propagate; inconsistency_or_underflow - the required states
 * are impossible together; error - the progress handler asked to stop. The last two only where a tree is brought
 * to equilibrium at once: one with continuous nodes, or one whose initial tables are kept in memory.
 */
TV_API tv_status_t tv_domain_reset_inference_engine(tv_domain_t* domain);

/**
 * tv_domain_reset_inference_engine, then tv_domain_retract_findings: a fresh start. Fails like the former.
 */
TV_API tv_status_t tv_domain_initialize(tv_domain_t* domain);

/** Whether some table was touched since the trees were last filled. Fails, returning -1: not_compiled. */
TV_API int tv_domain_tables_to_propagate(const tv_domain_t* domain);

/** The same for one tree. */
TV_API int tv_jt_tables_to_propagate(const tv_junction_tree_t* jt);

/** @} */

/**
 * @defgroup evidence_probability Probability and conflict of the evidence
 * @{
 */

/**
 * The normalisation constant: what the product of all potentials and findings sums to.
 *
 * After sum propagation in normal mode it is the probability of the evidence (with likelihoods: the
 * expectation of the product of the findings); 1 without evidence, up to rounding. After max propagation it
 * is the largest entry of that product. In fast-retraction mode it is the probability of the evidence on
 * nodes outside the root clique, and seldom of use. With several trees it is the product over them. With
 * values of continuous nodes it is the density of these values times the probability of the rest. It may
 * be 0 by underflow for long evidence; the logarithm has no such limit.
 *
 * Fails, returning -1.0: not_compiled; no_equilibrium.
 */
TV_API double tv_domain_get_normalization_constant(const tv_domain_t* domain);

/**
 * The natural logarithm of the normalisation constant, kept as a sum of logarithms, so it does not
 * underflow.
 *
 * Fails, returning -1.0 (which may also be an answer; see tv_error_code): not_compiled; no_equilibrium.
 */
TV_API double tv_domain_get_log_normalization_constant(const tv_domain_t* domain);

/**
 * The conflict of the evidence last propagated: P(e1) P(e2) ... P(en) / P(e1, ..., en). Above 1, the pieces
 * disagree with each other as the model sees it; below 1 they support each other (Jensen et al. 1991).
 *
 * The probabilities are those before this propagation: for all evidence at once after compilation or in a
 * fresh equilibrium it is the classical measure; when evidence is added later it measures the addition, given
 * what was there. It is 1 after a propagation that had to start from a reset, and with one piece of evidence.
 * In fast-retraction mode the evidence in the root clique is not compared with the rest: use normal mode.
 *
 * Fails, returning -1.0: usage - the domain has decision nodes; not_compiled; no_equilibrium; usage - a tree
 * is not in sum equilibrium; cg_evidence_incorporated - evidence on continuous nodes is propagated.
 */
TV_API double tv_domain_get_conflict(const tv_domain_t* domain);

/** The conflict within one tree; the domain's is the product over its trees. */
TV_API double tv_jt_get_conflict(const tv_junction_tree_t* jt);

/**
 * The conflict gathered in one clique during the last propagation: of the evidence entered there and of what
 * reached it on the way to the root. It helps to find where a conflict comes from; it is 1 in cliques that
 * took no part. Where numbers left the range of single precision (see evidence-and-answers.md), it is found
 * when first asked for, which takes about as long as collecting evidence; under fast retraction only the root
 * has one then.
 *
 * Fails, returning -1.0: not_compiled; no_memory.
 */
TV_API double tv_clique_get_conflict(const tv_clique_t* clique);

/**
 * The clique into which the evidence on a node was entered by the last propagation; NULL with status none
 * when none was.
 *
 * Fails, returning NULL: usage - neither discrete nor continuous; not_compiled.
 */
TV_API tv_clique_t* tv_node_get_conflict_clique(const tv_node_t* node);

/** @} */

/**
 * @defgroup beliefs Beliefs and other results
 * All of these read what the last propagation left; none propagates. They check, in this order: the
 * arguments (usage), that the domain is compiled (not_compiled), and that the tree holds valid results
 * (no_equilibrium).
 * @{
 */

/**
 * The belief of a state of a discrete node.
 *
 * Sum, normal: the probability of the state given all evidence. Sum, fast retraction: given all evidence
 * but the node's own. Max: the probability of the best configuration with this state, relative to the best
 * of all, so that the best states have 1. A node with hard evidence in normal mode answers exactly 1 and 0.
 *
 * Fails, returning -1.0: usage - the node is not discrete or `state` is out of range; not_compiled;
 * no_equilibrium.
 */
TV_API tv_number_t tv_node_get_belief(const tv_node_t* node, size_t state);

/**
 * The expected utility of a state of a discrete node: the expectation of the sum of all utilities of its
 * tree, given the state, the evidence and the policies of the decisions that are not made; 0 for an
 * impossible state. Of a utility node (`state` 0): its own expectation. For chance, decision and utility
 * nodes it does not depend on the equilibrium. In fast-retraction mode a node's own evidence is left out for
 * its states, but not for utility nodes. 0 in a domain without utility nodes.
 *
 * Fails, returning -1.0: usage - `state` is out of range, or the node is neither discrete nor a utility node;
 * not_compiled; no_equilibrium; usage - the node is a function node, or there are no utility nodes, and the
 * tree is not in sum equilibrium with normal mode or without evidence.
 */
TV_API tv_number_t tv_node_get_expected_utility(const tv_node_t* node, size_t state);

/**
 * The smallest number of a utility node's table, whatever the evidence; 0 for a node without a table.
 *
 * Fails, returning -1.0: usage - not a utility node; not_compiled; no_equilibrium.
 */
TV_API tv_number_t tv_node_get_min_utility(const tv_node_t* node);

/** The largest number of a utility node's table, likewise. Fails like tv_node_get_min_utility. */
TV_API tv_number_t tv_node_get_max_utility(const tv_node_t* node);

/**
 * The variance of a utility node given the evidence and the policies.
 *
 * Fails, returning -1.0: usage - not a utility node; not_compiled; no_equilibrium.
 */
TV_API double tv_node_get_variance_of_utility(const tv_node_t* node);

/**
 * The expected utility of the whole domain, the sum over its utility nodes; 0 without any.
 *
 * Fails, returning -1.0: not_compiled; no_equilibrium; usage - there is no utility node and the trees are
 * not in sum equilibrium with normal mode or without evidence.
 */
TV_API double tv_domain_get_expected_utility(const tv_domain_t* domain);

/**
 * The value of a real-valued function node, computed from the results of its parents: a numbered node stands
 * for its mean, a node with intervals for the mean of their middles, a continuous node for its mean, a
 * utility node for its expected utility, a function node for its value. Labels, truth values and the states
 * of model nodes must follow from the evidence. Every parent but a real-valued function must have its value,
 * also one that the expression does not mention.
 *
 * Fails, returning -1.0: usage - any other node; not_compiled; no_equilibrium; no_value - the node has no
 * model; invalid_expression - its expression is missing or does not suit it; computation_failed - a state
 * does not follow from the evidence, or the result is no finite number; division_by_zero and
 * inappropriate_arguments - in the expression; invalid_state_values - of a parent.
 */
TV_API double tv_node_get_value(tv_node_t* node);

/**
 * The entropy of a discrete node's belief, H = - sum of p ln p, in nats: 0 when the state is certain, ln n
 * when n states are equally probable.
 *
 * Fails, returning -1.0: usage - not discrete; not_compiled; no_equilibrium; usage - the tree is not in sum
 * equilibrium with normal mode or without evidence.
 */
TV_API double tv_node_get_entropy(const tv_node_t* node);

/**
 * The mutual information of two discrete nodes given the evidence, in nats: the sum over both nodes' states
 * of p(a, b) ln( p(a, b) / (p(a) p(b)) ), never negative. For twice the same node, its entropy. 0 for nodes
 * of different trees and when either has hard evidence.
 *
 * Fails, returning -1.0: usage - not both discrete or not of one domain; not_compiled; no_equilibrium;
 * usage - the equilibrium, as for tv_node_get_entropy. Where function nodes tie different trees together,
 * the status is functional_dependency and the result 9.0.
 */
TV_API double tv_node_get_mutual_information(tv_node_t* node1, tv_node_t* node2);

/**
 * The mean of a continuous node given the evidence.
 *
 * Fails, returning -1.0 (which a mean may be too; see tv_error_code): usage - not continuous; not_compiled;
 * no_equilibrium; overflow - it is no finite number.
 */
TV_API double tv_node_get_mean(const tv_node_t* node);

/** The variance of a continuous node given the evidence; never negative. Fails like tv_node_get_mean. */
TV_API double tv_node_get_variance(const tv_node_t* node);

/**
 * The exact distribution of a continuous node given the evidence: a mixture of normal distributions over the
 * configurations of those discrete nodes that it depends on here. The result is a table over these nodes and the
 * node; its data are the weights, and tv_table_get_mean and tv_table_get_variance tell the components. It is
 * yours: release it with tv_table_delete.
 *
 * Fails, returning NULL: usage - not continuous; not_compiled; no_equilibrium; overflow - a mean or variance
 * is no finite number; no_memory.
 */
TV_API tv_table_t* tv_node_get_distribution(tv_node_t* node);

/**
 * The value below which a continuous node lies with the given probability, given the evidence: the median
 * for 0.5. Where a single value has a positive probability, the least value that is not exceeded with at
 * least the given one.
 *
 * Fails, returning -1.0: usage - not continuous, or `probability` is not between 0 and 1 (both excluded);
 * otherwise like tv_node_get_distribution.
 */
TV_API double tv_node_get_quantile(tv_node_t* node, double probability);

/**
 * The joint distribution of some nodes given the evidence, whether or not they meet in one clique.
 *
 * The result is a table over the nodes in the given order, discrete ones first (convention 9), summing to one.
 * Continuous nodes have, for each configuration of the discrete ones, their exact means and covariances given
 * that configuration (their joint distribution need not be normal: it may be a mixture over other nodes). It is yours:
 * release it with tv_table_delete. After max propagation its entries relate to the best
 * one, which is 1; in fast-retraction mode the evidence on these nodes is left out. The present beliefs are
 * not disturbed. Time and memory grow with the table, and with what lies between the nodes in the tree.
 *
 * Fails, returning NULL: usage - the list is empty, a node stands in it twice, belongs to another domain, or
 * is neither discrete nor continuous; not_compiled; no_equilibrium - the tree of one of the nodes has no
 * valid result; normalization - in fast-retraction mode the joint sums to zero by underflow; no_memory - also when the table's size
 * does not fit into a size_t; overflow - a mean or covariance is no finite number.
 */
TV_API tv_table_t* tv_domain_get_marginal(tv_domain_t* domain, tv_node_t** nodes);

/** @} */

/**
 * @defgroup limid Policies of decisions
 * A domain with decision and utility nodes is a limited-memory influence diagram: the parents of a decision
 * are what is known when it is made. Its table is its *policy*, a distribution over its states for each
 * configuration of the parents; without a table it is uniform. Utilities add up. A decision on which a state
 * is entered is *made*: the state stands in the place of the policy, which then plays no part. What a decision
 * that is not made can influence must not be observed (invalid_evidence).
 * @{
 */

/**
 * Improves the policies of all decisions that are not made and have more than one state, by single policy
 * updating (Lauritzen & Nilsson 2001): one decision at a time gets, for each configuration of its parents, a
 * policy that is best given the evidence and the policies of the others, until no policy changes.
 *
 * States count as equally good when their expected utilities differ from the best by less than 6 millionths
 * of it, or by what rounding can explain; among them a policy keeps its mixture. A policy that is optimal
 * already, and one for a configuration that cannot occur, stays as it is. The result is a local optimum; where
 * every decision knows all that was known and decided before it, and no policy excluded a state at the start,
 * it is the best of all. Decisions are updated in the order in which they become extremal in the reduction of
 * tv_node_get_requisite_parents, the last to be made first. The domain must be in sum equilibrium, in normal
 * mode or without evidence, with nothing left to propagate; it is so again afterwards, and tables that are
 * computed from results follow the new policies. A domain without utility nodes is left alone.
 *
 * Fails: not_compiled; usage - the state of the domain; functional_dependency - function nodes stand between
 * other nodes; error - stopped by the progress handler (task "policies"); and the codes of tv_domain_propagate.
 * A failure resets the tree on which it occurred; policies that were improved by then stay improved.
 */
TV_API tv_status_t tv_domain_update_policies(tv_domain_t* domain);

/**
 * The parents of a decision that can influence its optimal policy, found in the graph alone by the minimal
 * reduction (Lauritzen & Nilsson 2001), in the order of its parents. Without the other parents, the best
 * expected utility is the same. The list is owned by the library and valid until the structure changes.
 *
 * Fails, returning NULL: usage - not a decision; functional_dependency - as above.
 */
TV_API tv_node_t** tv_node_get_requisite_parents(tv_node_t* node);

/**
 * The ancestors of a decision that could influence its optimal policy if every decision observed all of its
 * ancestors: what would be worth knowing. Otherwise like tv_node_get_requisite_parents.
 */
TV_API tv_node_t** tv_node_get_requisite_ancestors(tv_node_t* node);

/** @} */

/**
 * @defgroup reading Reading networks
 * The NET language is the textual form of a network. A short taste is the program at the top. Names, links
 * and numbers are checked as by the functions above. Errors are told to the handler, and nothing is returned
 * then; warnings are told and parsing goes on. The handler may be null. tv_net_parse_file and tv_net_parse_buffer
 * go on behind an error where they can, for up to ten errors; the others stop at the first.
 * @{
 */

/**
 * Reads a domain from a file or from a text: `source` is taken as the text if its first word, after white
 * space and comments, is a keyword of the language followed by white space or a brace, and otherwise as the
 * name of a file. The result is yours: tv_domain_delete.
 *
 * Its nodes and attributes stand in file order. It is not compiled. Classes are unknown in this version
 * (parse). A table that is given beside a model counts as generated by it.
 *
 * A file may also be written in the older node-specification language; docs/file-formats.md describes both.
 *
 * Fails, returning NULL: io - the file could not be opened, read or closed; parse - the text breaks the
 * rules of the language; locale - the "C" locale could not be selected; and the codes of the functions that
 * create nodes and links, each told to the handler as well.
 */
TV_API tv_domain_t* tv_net_parse_domain(const char* source, tv_error_handler_t handler, void* handler_data);

/**
 * Reads a domain from a file, whatever its name is. Where the text is wrong, the handler is told of up to ten
 * errors: parsing goes on with the next attribute or item, and what only follows from an earlier error is left out.
 * The status is that of the first error. Otherwise like tv_net_parse_domain.
 */
TV_API tv_domain_t* tv_net_parse_file(const char* file_name, tv_error_handler_t handler, void* handler_data);

/**
 * The same from a text of `length` bytes, which needs no null character at its end. The position told to the
 * handler is the number of characters read.
 */
TV_API tv_domain_t* tv_net_parse_buffer(const char* text, size_t length, tv_error_handler_t handler,
                                        void* handler_data);

/** Reads a domain from an open stream, which you close. The position told to the handler is the line. */
TV_API tv_domain_t* tv_net_parse(FILE* stream, tv_old_error_handler_t handler);

/** Reads a domain from a text, never a file name. The position is the number of characters read. */
TV_API tv_domain_t* tv_net_parse_from_string(const char* text, tv_old_error_handler_t handler);

/**
 * Adds the nodes of a file, and their potentials, to a domain that exists. Parents may be nodes of the domain;
 * everything else that the file says is about its own nodes, and the attributes of its `net` blocks are let
 * go. Returns the new nodes in file order, as a list that is yours: free it.
 *
 * Fails, returning NULL and leaving the domain as it was: usage - `domain` or `file_name` is null; and as
 * tv_net_parse_domain.
 */
TV_API tv_node_t** tv_domain_parse_nodes(tv_domain_t* domain, const char* file_name, tv_error_handler_t handler,
                                         void* handler_data);

/** @} */

/**
 * @defgroup writing Writing networks
 * The NET language again, in one fixed layout: reading what was written gives the same network, and writing
 * that gives the same text, byte for byte. Table data are written with six significant digits, the values
 * of states and the numbers of continuous nodes with eight; what lies beyond is lost.
 * @{
 */

/**
 * Writes the domain to an open stream and flushes it. Nodes without a name get one (tv_node_get_name).
 *
 * What no text can say is refused before anything is written: invalid_probability_potential - a probability or a
 * policy is not finite, or negative in the table of a node without discrete parents; usage - a utility, an
 * experience count or a fading factor is not finite; invalid_state_values - a value or an inner bound is infinite
 * or the largest double, which stands for infinity; invalid_expression - a number in an expression is not finite,
 * its text is nested too deeply to be read, or it has a truth value whose name is that of a node.
 *
 * Fails: these; usage - an argument is null; io - the stream took not everything; no_memory; locale - the "C"
 * locale could not be selected.
 */
TV_API tv_status_t tv_domain_write_net(tv_domain_t* domain, FILE* stream);

/** The same as a text, which is yours: free it. Fails, returning NULL, with the codes of tv_domain_write_net. */
TV_API char* tv_domain_to_net_string(tv_domain_t* domain);

/** @} */

/**
 * @defgroup cases Cases
 * A case is one observation of the network: some nodes have a state or a value, the others are missing. A
 * domain can hold any number of them, each with a count that says how often it was seen; nodes that have no
 * cell set cost no memory. Files hold one case (the evidence that is entered) or many (the stored cases);
 * docs/file-formats.md describes both forms.
 * @{
 */

/**
 * Makes the domain hold so many cases. New ones have every cell missing and the count 1; those beyond `count`
 * are forgotten.
 *
 * Fails: usage - `domain` is null; no_memory.
 */
TV_API tv_status_t tv_domain_set_number_of_cases(tv_domain_t* domain, size_t count);

/** Adds a case and returns its index. Fails, returning all ones: usage - `domain` is null; no_memory. */
TV_API size_t tv_domain_new_case(tv_domain_t* domain);

/** How many cases there are. Fails, returning all ones: usage - `domain` is null. */
TV_API size_t tv_domain_get_number_of_cases(const tv_domain_t* domain);

/** Sets how often a case was seen. Fails: usage - there is no such case, or `count` is negative or not finite. */
TV_API tv_status_t tv_domain_set_case_count(tv_domain_t* domain, size_t case_index, tv_number_t count);

/** How often a case was seen, 1 unless set. Fails, returning -1: usage - there is no such case. */
TV_API tv_number_t tv_domain_get_case_count(const tv_domain_t* domain, size_t case_index);

/**
 * Notes a state of a discrete node in a case.
 *
 * Fails: usage - not discrete, or no such case or state; case_state_too_large - the state is 32768 or more;
 * no_memory.
 */
TV_API tv_status_t tv_node_set_case_state(tv_node_t* node, size_t case_index, size_t state);

/** Notes a value of a continuous node in a case. Fails: usage - not continuous, not finite, no such case; no_memory. */
TV_API tv_status_t tv_node_set_case_value(tv_node_t* node, size_t case_index, double value);

/** Makes a cell missing. Fails: usage - neither discrete nor continuous, or no such case. */
TV_API tv_status_t tv_node_unset_case(tv_node_t* node, size_t case_index);

/** 1 if the cell is set, 0 if it is missing. Fails, returning -1: usage, as for tv_node_unset_case. */
TV_API int tv_node_case_is_set(const tv_node_t* node, size_t case_index);

/** The state in a case. Fails, returning all ones: usage - not discrete, or no such case; no_value - missing. */
TV_API size_t tv_node_get_case_state(const tv_node_t* node, size_t case_index);

/** The value in a case. Fails, returning -1.0: usage - not continuous, or no such case; no_value - missing. */
TV_API double tv_node_get_case_value(const tv_node_t* node, size_t case_index);

/** Makes a case the entered evidence: what it misses is retracted. Fails: usage - there is no such case. */
TV_API tv_status_t tv_domain_enter_case(tv_domain_t* domain, size_t case_index);

/**
 * Writes the entered evidence to a file, one node a line.
 *
 * Fails: usage - an argument is null; io - the file could not be opened or written; no_memory; locale.
 */
TV_API tv_status_t tv_domain_save_case(tv_domain_t* domain, const char* file_name);

/**
 * Retracts all findings and enters those of a file. The handler, which may be null, is told every message
 * with its line; after any error no finding is left.
 *
 * Fails: usage - `domain` or `file_name` is null; io - the file could not be opened, read or closed; parse -
 * some finding is wrong; no_memory; locale.
 */
TV_API tv_status_t tv_domain_parse_case(tv_domain_t* domain, const char* file_name, tv_error_handler_t handler,
                                        void* handler_data);

/**
 * Writes the stored cases to a file: a header with the names of the nodes that have any cell set (all nodes
 * if none has), then one case a line.
 *
 * Fails: usage - an argument is null; io - the file could not be opened or written; no_memory; locale.
 */
TV_API tv_status_t tv_domain_save_cases(tv_domain_t* domain, const char* file_name);

/**
 * Replaces the stored cases by those of a file. The handler, which may be null, is told every message with its
 * line; after an error the stored cases are those of before.
 *
 * Fails: usage - `domain` or `file_name` is null; io - the file could not be opened, read or closed; parse -
 * the file breaks the rules; case_state_too_large; no_memory; locale.
 */
TV_API tv_status_t tv_domain_parse_cases(tv_domain_t* domain, const char* file_name, tv_error_handler_t handler,
                                         void* handler_data);

/** @} */

/**
 * @defgroup random Random numbers
 * Each domain has a generator of its own: Knuth's floating-point lagged-Fibonacci generator (The Art of
 * Computer Programming, volume 2, section 3.6), of every 1009 numbers of which 100 are used. The same seed
 * gives the same sequence on every machine.
 * @{
 */

/** Starts the generator anew from the low 30 bits of `seed`. A new domain is seeded with 310952. */
TV_API tv_status_t tv_domain_seed_random(tv_domain_t* domain, unsigned seed);

/** The next number, uniform in [0, 1). -1.0 on failure. */
TV_API double tv_domain_get_uniform_deviate(tv_domain_t* domain);

/**
 * A number of the normal distribution, by the ratio of uniforms (Kinderman & Monahan 1977). It draws from
 * the uniform sequence, as many numbers as it needs; a variance of 0 gives the mean and draws none.
 *
 * Fails, returning -1.0: usage - the variance is negative, or either argument is NaN or infinite.
 */
TV_API double tv_domain_get_normal_deviate(tv_domain_t* domain, double mean, double variance);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
