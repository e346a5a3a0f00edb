// Runs the program as a user does.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

namespace test {

inline const std::string kExamples = TARVO_EXAMPLE_FOLDER;

inline std::string read_file(const std::string& name) {
  std::stringstream text;
  text << std::ifstream(name).rdbuf();
  return text.str();
}

struct Outcome {
  int exit_code;
  std::string output, errors;
};

class Program : public testing::Test {
 protected:
  Program() : folder_(testing::TempDir() + "tarvo_program_" + std::to_string(getpid())) {
    std::filesystem::create_directories(folder_);
  }
  ~Program() override { std::filesystem::remove_all(folder_); }

  std::string path(const std::string& name) const { return folder_ + "/" + name; }
  std::string write(const std::string& name, const std::string& text) const {
    std::ofstream(path(name)) << text;
    return path(name);
  }
  // Runs a shell command in the folder of the examples, so that messages show short file names.
  Outcome shell(const std::string& command) const {
    const int status = std::system(("cd '" + kExamples + "' && { " + command + "; } </dev/null >'" +
                                    path("out") + "' 2>'" + path("err") + "'")
                                       .c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read_file(path("out")), read_file(path("err"))};
  }
  Outcome tarvo(const std::string& arguments) const { return shell("'" TARVO_PROGRAM "' " + arguments); }
  nlohmann::json answer_of(const std::string& arguments) const {
    const Outcome outcome = tarvo(arguments + " --format json");
    EXPECT_EQ(outcome.errors, "") << arguments;
    return nlohmann::json::parse(outcome.output);
  }

 private:
  std::string folder_;
};

inline bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

// The beliefs of a JSON answer by node and state.
inline double belief(const nlohmann::json& answer, const std::string& name, const std::string& state) {
  for (const auto& node : answer.at("nodes"))
    if (node.at("name") == name)
      for (size_t i = 0; i < node.at("states").size(); ++i)
        if (node.at("states")[i] == state) return node.at("beliefs")[i];
  ADD_FAILURE() << "no belief for " << name << " = " << state;
  return -1;
}

}  // namespace test
