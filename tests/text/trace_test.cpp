// Traces: what reaches the stream, and how a failure to write is remembered.

#include "text/trace.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "network/domain.h"

namespace tv {
namespace {

// A stream into a string that refuses every byte behind the first `room`.
struct Sink {
  explicit Sink(size_t room_for = static_cast<size_t>(-1)) : room(room_for) {
    stream = fopencookie(this, "w", {nullptr, write, nullptr, nullptr});
  }
  ~Sink() { std::fclose(stream); }
  static ssize_t write(void* cookie, const char* data, size_t size) {
    Sink& sink = *static_cast<Sink*>(cookie);
    if (size > sink.room - sink.text.size()) return 0;
    sink.text.append(data, size);
    return static_cast<ssize_t>(size);
  }
  FILE* stream;
  size_t room;
  std::string text;
};

TEST(Trace, WritesFormattedText) {
  Sink sink;
  Trace trace(sink.stream);
  EXPECT_TRUE(trace.enabled());
  trace.print("%s of %s\n", NumberText(0.25).c_str(), CostText(3).c_str());
  trace.text("%s");
  trace.flush();
  EXPECT_EQ("0.25 of 3\n%s", sink.text);
  trace.time_stamp();
  trace.flush();
  EXPECT_EQ('\n', sink.text.back());
  EXPECT_EQ(tv_status_none, trace.status());
}

TEST(Trace, WithoutAStreamDoesNothing) {
  Trace trace(nullptr);
  EXPECT_FALSE(trace.enabled());
  trace.print("%d", 1);
  trace.text("x");
  trace.time_stamp();
  trace.flush();
  EXPECT_EQ(tv_status_none, trace.status());
}

TEST(Trace, RemembersTheFirstFailure) {
  Sink sink(4);
  Trace trace(sink.stream);
  trace.text("too long");
  trace.flush();
  EXPECT_EQ(tv_status_io, trace.status());
  sink.room = 100;
  trace.print("%s", "fits");
  trace.flush();
  EXPECT_EQ(tv_status_io, trace.status());
}

TEST(Trace, NoticesAFailureOfAnUnbufferedStream) {
  Sink sink(0);
  std::setvbuf(sink.stream, nullptr, _IONBF, 0);
  Trace printed(sink.stream), written(sink.stream);
  printed.print("%d", 12345);
  EXPECT_EQ(tv_status_io, printed.status());
  written.text("12345");
  EXPECT_EQ(tv_status_io, written.status());
}

std::string trace_of(const std::vector<std::string>& names) {
  std::vector<Node> nodes(names.size());
  std::vector<Node*> pointers;
  for (size_t i = 0; i < names.size(); ++i) {
    nodes[i].name = names[i];
    nodes[i].has_name = true;
    pointers.push_back(&nodes[i]);
  }
  Sink sink;
  Trace trace(sink.stream);
  trace_names(trace, pointers.data(), pointers.data() + pointers.size());
  trace.flush();
  return sink.text;
}

TEST(TraceNames, BreaksLinesBeforeTheyGrowTooLong) {
  EXPECT_EQ("    A, B, C\n", trace_of({"A", "B", "C"}));
  const std::string long_name(69, 'x'), longer_name(70, 'x'), longest(100, 'x');
  EXPECT_EQ("    " + long_name + "\n", trace_of({long_name}));
  EXPECT_EQ("    A, " + std::string(68, 'x') + "\n", trace_of({"A", std::string(68, 'x')}));
  EXPECT_EQ("    A,\n    " + long_name + "\n", trace_of({"A", long_name}));
  EXPECT_EQ("    " + longest + ",\n    " + longest + ",\n    B\n", trace_of({longest, longest, "B"}));
}

}  // namespace
}  // namespace tv
