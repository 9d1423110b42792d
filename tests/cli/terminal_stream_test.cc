#include "cli/terminal_stream.h"

#include <gtest/gtest.h>

#include <ostream>
#include <sstream>

namespace quorvane {
namespace {

// What reaches the terminal when `pieces` are printed, each flushed.
std::string printed(std::initializer_list<std::string> pieces) {
  std::ostringstream terminal;
  {
    EscapingStreamBuffer buffer(terminal.rdbuf());
    std::ostream out(&buffer);
    for (const std::string& piece : pieces) out << piece << std::flush;
  }
  return terminal.str();
}

TEST(EscapingStreamBufferTest, OnlyTextReachesTheTerminal) {
  EXPECT_EQ(printed({"Zoë — 東京 🎨\n\ttab"}), "Zoë — 東京 🎨\n\ttab") << "text passes whole";
  EXPECT_EQ(printed({"a\x1b[31mb\x07\r"}), "a\\u001b[31mb\\u0007\\u000d");
  EXPECT_EQ(printed({"\xc2\x9b"
                     "2J"}),
            "\\u009b2J")
      << "the C1 escape introducer";
  EXPECT_EQ(printed({"\xc2", "\x9b"}), "\\u009b") << "however the bytes are flushed";
  EXPECT_EQ(printed({"lone \x9b byte"}), "lone \\x9b byte") << "no UTF-8: shown as a byte";
  EXPECT_EQ(printed({"cut \xe2\x82"}), "cut \\xe2\\x82");
  EXPECT_EQ(printed({"\xe2\x82z"}), "\\xe2\\x82z");
}

}  // namespace
}  // namespace quorvane
