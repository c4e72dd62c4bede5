// SPDX-License-Identifier: MIT
//
// What the device's log keeps and what it cuts.
#include "sysmgr/device/EventLog.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

TEST(EventLog, KeepsTheLast) {
  std::int64_t now = 1795428000;
  EventLog log([&now] { return now; });
  EXPECT_TRUE(log.Events()->empty());
  for (std::size_t i = 0; i < EventLog::kMaxEvents + 5; ++i) {
    log.Add("event " + std::to_string(i));
    ++now;
  }
  const LiveRows rows = log.Events();
  ASSERT_EQ(rows->size(), EventLog::kMaxEvents);
  EXPECT_EQ(rows->front(), LiveRow({"2026-11-23 10:01:44", "event 104"}));
  EXPECT_EQ(rows->back()[1], "event 5");
  log.Add("a\nb\x9B" + std::string(1000, 'c'));
  EXPECT_EQ(log.Events()->front()[1], "a?b?" + std::string(396, 'c'));
  EXPECT_EQ(rows->front()[1], "event 104");
  log.AddNames("Changed", {"a", "b"});
  EXPECT_EQ(log.Events()->front()[1], "Changed: a, b.");
  log.AddNames("Changed", {std::string(350, 'a'), std::string(360, 'b'), "c"});
  EXPECT_EQ(log.Events()->front()[1], "Changed: " + std::string(350, 'a') + " and 2 more.");
}

}  // namespace
