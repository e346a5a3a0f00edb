// Files and terminals: what goes in and out, and what a person sees meanwhile.
#include <gtest/gtest.h>
#include <pty.h>
#include <signal.h>
#include <sys/stat.h>

#include <chrono>
#include <thread>

#include "program/program.h"

namespace test {
namespace {

// What the program writes to a terminal of 60 columns, with its standard error; `until` stops it by a signal
// once that is shown.
std::string on_terminal(const std::vector<std::string>& arguments, const char* no_color = nullptr,
                        const std::string& until = "") {
  int terminal = -1;
  const winsize size{24, 60, 0, 0};
  const pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
  if (child < 0) return "";
  if (child == 0) {
    alarm(60);
    setenv("LC_ALL", "C.UTF-8", 1);
    no_color ? setenv("NO_COLOR", no_color, 1) : unsetenv("NO_COLOR");
    std::vector<char*> list = {const_cast<char*>("tarvo")};
    for (const std::string& argument : arguments) list.push_back(const_cast<char*>(argument.c_str()));
    list.push_back(nullptr);
    execv(TARVO_PROGRAM, list.data());
    _exit(127);
  }
  std::string text;
  char block[4096];
  bool stopped = false;
  for (ssize_t size_read; (size_read = read(terminal, block, sizeof block)) > 0;) {
    text.append(block, static_cast<size_t>(size_read));
    if (!stopped && !until.empty() && contains(text, until)) {
      stopped = true;
      kill(child, SIGINT);
    }
  }
  close(terminal);
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFSIGNALED(status)) text += "[signal " + std::to_string(WTERMSIG(status)) + "]";
  return text;
}

TEST_F(Program, BarsAndBoldAreForTerminalsAlone) {
  const std::string plain = tarvo("beliefs student.net -n grade").output;
  EXPECT_FALSE(contains(plain, "█"));
  EXPECT_FALSE(contains(plain, "\033"));
  const std::vector<std::string> question = {"beliefs", kExamples + "/student.net", "-n", "grade"};
  const std::string coloured = on_terminal(question), colourless = on_terminal(question, "1");
  if (coloured.empty()) GTEST_SKIP() << "no terminals on this machine";
  EXPECT_TRUE(contains(coloured, "\033[1m  * A   0.362000  ██████████████▌\033[0m")) << coloured;
  EXPECT_TRUE(contains(colourless, "\n    C   0.349600  ")) << colourless;
  EXPECT_FALSE(contains(colourless, "\033"));
}

// A reader that waits for its input is as slow as one wants.
TEST_F(Program, LongWorkShowsSignsOfLifeAndEndsCleanly) {
  const std::string pipe = path("pipe"), out = path("out.net");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const std::string shown = on_terminal({"convert", pipe, out}, nullptr, "reading");
  if (shown.empty()) GTEST_SKIP() << "no terminals on this machine";
  EXPECT_TRUE(contains(shown, "reading ")) << shown;
  EXPECT_EQ(shown.substr(shown.size() - 14), "\r\033[K[signal 2]") << shown;
  const auto fed = [&](std::vector<std::string> arguments) {
    std::thread feeder([&] {
      std::ofstream stream(pipe);
      std::this_thread::sleep_for(std::chrono::milliseconds(900));
      stream << read_file(kExamples + "/student.net");
    });
    const std::string text = on_terminal(arguments);
    feeder.join();
    return text;
  };
  EXPECT_TRUE(contains(fed({"convert", pipe, out}), "\r\033[K"));
  EXPECT_EQ(fed({"convert", pipe, out, "--quiet"}), "");
  EXPECT_EQ(on_terminal({"check", kExamples + "/student.net"}).find('\033'),
            std::string::npos);  // quick work
}

// A network whose names try to speak to the terminal.
TEST_F(Program, ControlCharactersNeverReachATerminal) {
  const std::string file =
      write("evil.net",
            "net {}\nnode a { label = \"\x1b[2J\"; states = (\"\x1b]0;x\x07\" \"\xc2\x9bm\xff\"); }\n"
            "potential (a) { data = (0.5 0.4); }\n");
  for (const std::string command : {"beliefs", "check", "info"})
    for (const char* form : {"text", "json", "csv"}) {
      std::string shown = on_terminal({command, file, "--format", form}, "1");
      if (shown.empty()) GTEST_SKIP() << "no terminals on this machine";
      for (const char* bad : {"\033", "\x07", "\xc2\x9b"})
        EXPECT_FALSE(contains(shown, bad)) << command << form << shown;
    }
  const Outcome wrong = tarvo("beliefs " + file + " -e \"$(printf 'a=\\033[31m')\"");
  EXPECT_TRUE(contains(wrong.errors, "there is no state \"\\x1b[31m\"")) << wrong.errors;
  EXPECT_FALSE(contains(wrong.errors, "\033"));
}

TEST_F(Program, MessagesOfTheReaderShowTheLine) {
  const std::string file =
      write("wrong.net", "net {}\nnode a { states = (\"x\" \"y\"); }\n  potential (b) {}\n");
  const Outcome outcome = tarvo("beliefs " + file);
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_EQ(outcome.output, "");
  EXPECT_EQ(outcome.errors.find(file + ":3"), 0u) << outcome.errors;
  EXPECT_TRUE(contains(outcome.errors, ": node `b' not found\n      potential (b) {}\n")) << outcome.errors;
  EXPECT_EQ(tarvo("beliefs " + write("empty.net", "")).errors, path("empty.net") + ": the file is empty\n");
  const struct {
    const char *item, *message;
  } cases[] = {
      {"potential (a | b) { data = (1 2 3); }",
       ": number expected: the table of \"a\" has 3 numbers instead of 4\n"},
      {"potential (a | b) { data = (1 2 3 4 5); }",
       ": `)' expected: the table of \"a\" has more than 4 numbers\n"},
      {"potential (a | b) { data = ((1 2)(3)); }",
       ": number expected: the table of \"a\" has 1 number in a row instead of 2\n"},
      {"potential (a | b) { data = ((1 2 3)(3)); }",
       ": `)' expected: the table of \"a\" has more than 2 numbers in a row\n"},
      {"continuous node x {} decision d {}", ": continuous nodes do not mix with decisions and utilities\n"},
  };
  for (const auto& [item, message] : cases) {
    const std::string text =
        std::string("net {} node a { states = (\"x\" \"y\"); } node b { states = (\"x\" \"y\"); } ") + item;
    const std::string errors = tarvo("beliefs " + write("count.net", text)).errors;
    EXPECT_TRUE(contains(errors, message)) << errors;
  }
}

TEST_F(Program, ConvertsBetweenFormats) {
  const std::string once = path("once.net"), twice = path("twice.net");
  EXPECT_EQ(0, tarvo("convert chest.net '" + once + "'").exit_code);
  EXPECT_EQ(0, tarvo("convert '" + once + "' '" + twice + "'").exit_code);
  EXPECT_EQ(read_file(once), read_file(twice));
  EXPECT_EQ(0u, read_file(once).find("net\n{\n    node_size = (100 40);\n"));
  for (const char* name : {"chest.bif", "chest.xml"}) {
    const std::string other = path(name);
    EXPECT_EQ(0, tarvo("convert chest.net '" + other + "'").exit_code);
    const Outcome beliefs = tarvo("beliefs '" + other + "' -e dyspnoea=yes -n smoker --format csv");
    EXPECT_EQ(tarvo("beliefs chest.net -e dyspnoea=yes -n smoker --format csv").output, beliefs.output);
  }
  const Outcome bif = tarvo("convert sprinkler.net - --to bif");
  EXPECT_EQ(0, bif.exit_code);
  EXPECT_NE(bif.output.npos, bif.output.find("probability ( rain | cloudy ) {\n  (yes) 0.8, 0.2;\n"));
  EXPECT_NE(0, tarvo("convert cellar.net - --to bif").exit_code);
  const std::string broken = write("broken.bif", "variable A {\n type discrete [ 2 ] { x };\n}\n");
  const Outcome refused = tarvo("convert '" + broken + "' -");
  EXPECT_EQ(1, refused.exit_code);
  EXPECT_TRUE(contains(refused.errors, broken + ":2")) << refused.errors;
  EXPECT_TRUE(
      contains(refused.errors, ": \"A\" has 1 states instead of 2\n     type discrete [ 2 ] { x };\n"));
  EXPECT_EQ(1, tarvo("convert chest.net /nowhere/at/all.net").exit_code);
}

TEST_F(Program, FilesAreReplacedAsAWholeOrNotAtAll) {
  const std::string file = path("net 1.net"), link = path("link.net");
  std::filesystem::copy_file(kExamples + "/chest.net", file);
  std::filesystem::permissions(file,
                               std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  std::filesystem::create_symlink(file, link);
  EXPECT_EQ(tarvo("beliefs '" + file + "' -n smoker").exit_code, 0);  // the name begins with a keyword
  ASSERT_EQ(tarvo("convert '" + file + "' '" + link + "'").exit_code, 0);
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(std::filesystem::status(file).permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  const std::string before = read_file(file);
  EXPECT_EQ(before.find("net\n{"), 0u);
  // No more than two blocks of a file can be written, which is less than it takes.
  const Outcome full =
      shell("ulimit -f 2; trap '' XFSZ; '" TARVO_PROGRAM "' convert linkage.net '" + file + "'");
  EXPECT_EQ(full.exit_code, 1);
  EXPECT_TRUE(contains(full.errors, "net 1.net: it could not be written: File too large\n")) << full.errors;
  EXPECT_EQ(read_file(file), before);
  size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(std::filesystem::path(file).parent_path()))
    files += contains(entry.path(), "net 1.net");
  EXPECT_EQ(files, 1u);
  EXPECT_TRUE(
      contains(tarvo("convert chest.net /dev/full").errors, "/dev/full: it could not be written: No space"));
  EXPECT_EQ(shell("cat chest.net | '" TARVO_PROGRAM "' convert - -").output,
            tarvo("convert chest.net -").output);
}

TEST_F(Program, TakesEvidenceFromACaseFile) {
  const std::string file = write("evidence.case", "dyspnoea: \"yes\"\nsmoker: (1 0)\n");
  EXPECT_EQ(tarvo("beliefs chest.net -e dyspnoea=yes -l smoker=1,0 --format csv").output,
            tarvo("beliefs chest.net --case '" + file + "' --format csv").output);
  const std::string broken = write("broken.case", "\ndyspnoea: maybe\n");
  const Outcome refused = tarvo("beliefs chest.net --case '" + broken + "'");
  EXPECT_EQ(1, refused.exit_code);
  EXPECT_EQ(0u, refused.errors.find(broken + ":2")) << refused.errors;
  EXPECT_TRUE(contains(refused.errors, ": illegal token\n    dyspnoea: maybe\n")) << refused.errors;
}

}  // namespace
}  // namespace test
