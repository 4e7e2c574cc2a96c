// The tool's table printer, progress line and option parser.
#include <gtest/gtest.h>

#include "Arguments.h"
#include "Format.h"
#include "Progress.h"
#include "Table.h"

namespace zsff_tools {
namespace {

TEST(Table, AlignsColumnsByCodePointsWithoutTrailingBlanks) {
  Table table;
  table.AddColumn("name");
  table.AddColumn("rate", Table::Right);
  table.AddColumn("unit");
  table.AddRow({"Vibration", "51200", "m/s²"});
  table.AddRow({"Ü", "8", ""});
  table.AddRow({"short"});  // missing cells are empty
  EXPECT_EQ(table.RowCount(), 3u);
  EXPECT_EQ(table.Render("  "),
            "  name        rate  unit\n"
            "  Vibration  51200  m/s²\n"
            "  Ü              8\n"
            "  short\n");
  EXPECT_EQ(DisplayWidth("m/s²"), 4u);
}

TEST(ProgressBar, RenderFitsTheWidthAndShowsProgress) {
  const std::string line = ProgressBar::Render(0.5, "record 1/3", 100.0 * 1024 * 1024, 65.0, 80);
  EXPECT_LE(line.size(), 80u);
  EXPECT_NE(line.find("record 1/3 ["), std::string::npos);
  EXPECT_NE(line.find(" 50%"), std::string::npos);
  EXPECT_NE(line.find("100.0 MiB/s"), std::string::npos);
  EXPECT_NE(line.find("ETA 1:05"), std::string::npos);
  const std::size_t open = line.find('[');
  const std::size_t close = line.find(']');
  const std::string bar = line.substr(open + 1, close - open - 1);
  const long filled = std::count(bar.begin(), bar.end(), '#');
  const long empty = std::count(bar.begin(), bar.end(), '.');
  EXPECT_EQ(filled + empty, static_cast<long>(bar.size()));
  EXPECT_LE(std::labs(filled - empty), 1);  // half, rounded either way on an odd width

  // Narrow terminals lose the label, then the bar; out-of-range fractions clamp.
  const std::string narrow = ProgressBar::Render(2.0, "a very long label indeed", 0.0, -1.0, 30);
  EXPECT_LE(narrow.size(), 30u);
  EXPECT_EQ(narrow.find("label"), std::string::npos);
  EXPECT_NE(narrow.find("100%"), std::string::npos);
  EXPECT_EQ(ProgressBar::Render(0.0, "x", 0.0, -1.0, 12).find('['), std::string::npos);
}

TEST(Format, SizesRatesClocksAndDates) {
  EXPECT_EQ(FormatBytes(512), "512 B");
  EXPECT_EQ(FormatBytes(1536), "1.50 KiB");
  EXPECT_EQ(FormatBytes(221.2 * 1024 * 1024), "221.2 MiB");
  EXPECT_EQ(FormatRate(3.0 * 1024 * 1024 * 1024), "3.00 GiB/s");
  EXPECT_EQ(FormatClock(7.4), "0:07");
  EXPECT_EQ(FormatClock(3725), "1:02:05");
  EXPECT_EQ(FormatFileTime(0), "-");
  // 2024-01-31 10:20:30.005 UTC: days from 1601 to 1970, then Unix seconds.
  const long long fileTime = (1706696430LL + 11644473600LL) * 10000000LL + 50000;
  EXPECT_EQ(FormatFileTime(fileTime), "2024-01-31 10:20:30.005");
}

TEST(Arguments, OptionsInBothFormsFlagsAndErrors) {
  const std::vector<OptionRule> rules = {{"seconds", true}, {"json", false}};
  Arguments args;
  std::string error;
  ASSERT_TRUE(
      args.Parse({"dir", "--seconds", "2.5", "--json", "--", "--not-an-option"}, rules, error));
  EXPECT_EQ(args.Positional(), (std::vector<std::string>{"dir", "--not-an-option"}));
  EXPECT_TRUE(args.Has("json"));
  double seconds = 120.0;
  EXPECT_TRUE(args.GetDouble("seconds", 0.1, 10.0, seconds, error));
  EXPECT_EQ(seconds, 2.5);

  ASSERT_TRUE(args.Parse({"--seconds=7"}, rules, error));
  long long whole = 0;
  EXPECT_TRUE(args.GetInteger("seconds", 1, 10, whole, error));
  EXPECT_EQ(whole, 7);
  // Out of range or not a number: the default stays and the error says why.
  seconds = 1.0;
  EXPECT_FALSE(args.GetDouble("seconds", 0.1, 5.0, seconds, error));
  EXPECT_EQ(seconds, 1.0);
  EXPECT_NE(error.find("--seconds"), std::string::npos);
  ASSERT_TRUE(args.Parse({"--seconds=7x"}, rules, error));
  EXPECT_FALSE(args.GetInteger("seconds", 1, 10, whole, error));
  ASSERT_TRUE(args.Parse({}, rules, error));
  EXPECT_TRUE(args.GetInteger("seconds", 1, 10, whole, error));  // absent: default kept
  EXPECT_EQ(whole, 7);

  EXPECT_FALSE(args.Parse({"--secs", "1"}, rules, error));
  EXPECT_EQ(error, "unknown option --secs");
  EXPECT_FALSE(args.Parse({"--json=yes"}, rules, error));
  EXPECT_EQ(error, "option --json takes no value");
  EXPECT_FALSE(args.Parse({"--seconds"}, rules, error));
  EXPECT_EQ(error, "option --seconds needs a value");
}

}  // namespace
}  // namespace zsff_tools
