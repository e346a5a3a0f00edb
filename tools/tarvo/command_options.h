// Options that several commands have.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "compression.h"
#include "evidence.h"
#include "output.h"
#include "triangulation.h"

namespace program {

inline constexpr const char* kExitCodes =
    "Exit code: 0 success; 1 the answer is no, or a file or the network is wrong; 2 wrong usage.";

// One of a few words, with a suggestion for what is none of them.
CLI::Validator one_of(const std::vector<std::string>& words);

void add_choice(CLI::App* command, const char* name, std::string& value, const char* type,
                const std::vector<std::string>& words, const char* description);
void add_format(CLI::App* command, Format& format);

// An option that is given once for each value, so that it never swallows FILE.
CLI::Option* add_repeated(CLI::App* command, const char* name, std::vector<std::string>& values,
                          const char* type, const char* description);

void add_memory_limit(CLI::App* command, std::string& limit);
void add_quiet(CLI::App* command);
void add_threads(CLI::App* command, size_t& threads, const char* description);

// A command about a network, with what all of them have in common.
CLI::App* add_command(CLI::App& app, const char* name, const char* description, const char* examples,
                      Source& source, Format& format);

// Of the commands that ask about a case.
void add_evidence(CLI::App* command, EvidenceOptions& evidence);

// A network and its cases cannot both come from the standard input: wrong usage.
void expect_one_reader(const Source& source, const std::string& case_file);

// Of the commands that compile.
void add_triangulation(CLI::App* command, TriangulationOptions& options, const char* more_methods = "");

// Of those that compile to answer one question.
void add_compression(CLI::App* command, CompressionOptions& options);

}  // namespace program
