// The platform layer keeps the include order that borvane/platform/README.md states: a service
// folder includes only itself and the folders before it, the doubles stay out of the library,
// and the platform stands on nothing of the library but automation/.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "tests/test_support.h"

namespace {

namespace fs = std::filesystem;
const fs::path kRoot = fs::path(BORVANE_SOURCE_DIR) / "borvane";

// The folders in the README's "Order: a < b < ..." line.
std::vector<std::string> ReadmeOrder() {
  std::istringstream in(borvane::testing::ReadWholeFile(kRoot / "platform/README.md"));
  std::string line;
  while (std::getline(in, line)) {
    if (line.rfind("Order: ", 0) != 0) continue;
    std::vector<std::string> order;
    std::istringstream words(line.substr(7));
    for (std::string w; words >> w;)
      if (w != "<") order.push_back(w);
    return order;
  }
  return {};
}

// Every "borvane/..." include of a file, as the path after "borvane/".
std::vector<std::string> Includes(const fs::path& file) {
  static const std::regex kInclude(R"re(#include "borvane/([^"]+)")re");
  std::string text = borvane::testing::ReadWholeFile(file);
  std::vector<std::string> out;
  for (std::sregex_iterator it(text.begin(), text.end(), kInclude), end; it != end; ++it)
    out.push_back((*it)[1]);
  return out;
}

TEST(PlatformLayering, IncludesFollowTheReadmeOrder) {
  const std::vector<std::string> order = ReadmeOrder();
  ASSERT_FALSE(order.empty()) << "no 'Order:' line in borvane/platform/README.md";
  auto rank = [&](const std::string& folder) {
    return std::find(order.begin(), order.end(), folder) - order.begin();
  };
  for (const auto& entry : fs::directory_iterator(kRoot / "platform")) {
    const std::string name = entry.path().filename().string();
    if (!entry.is_directory()) {
      EXPECT_TRUE(name == "README.md" || name == "wiring.cpp") << "loose file " << name;
      continue;
    }
    if (name == "testing") continue;
    ASSERT_LT(rank(name), static_cast<long>(order.size())) << name << " is not in the order";
    for (const auto& file : fs::directory_iterator(entry.path())) {
      for (const std::string& inc : Includes(file.path())) {
        const std::string where = file.path().filename().string() + " includes " + inc;
        if (inc.rfind("automation/", 0) == 0) continue;
        ASSERT_EQ(inc.rfind("platform/", 0), 0u) << where;
        const std::string folder = inc.substr(9, inc.find('/', 9) - 9);
        EXPECT_NE(folder, "testing") << where;
        EXPECT_LE(rank(folder), rank(name)) << where;
      }
    }
  }
}

TEST(PlatformLayering, OnlyTestCodeIncludesTheDoubles) {
  for (const auto& file : fs::recursive_directory_iterator(kRoot)) {
    if (!file.is_regular_file()) continue;
    if (file.path().parent_path().filename() == "testing") continue;
    for (const std::string& inc : Includes(file.path()))
      EXPECT_NE(inc.rfind("platform/testing/", 0), 0u) << file.path() << " includes " << inc;
  }
}

}  // namespace
