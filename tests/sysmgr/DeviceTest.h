// SPDX-License-Identifier: MIT
//
// The product's model over a simulated device whose clocks stand still.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "sysmgr/Features.h"
#include "sysmgr/device/Device.h"
#include "sysmgr/device/Storage.h"
#include "sysmgr/model/ModelReader.h"
#include "tests/TestFolder.h"
#include "tests/sysmgr/Service.h"

class DeviceTest : public testing::Test {
 protected:
  static constexpr std::int64_t kStart = 1700000000;

  DeviceTest()
      : folder_("/tmp/vistel-sysmgr"),
        model_(ReadModelFile(VISTEL_TEST_MODEL)),
        storage_(folder_.Path() + "/settings.db", model_),
        settings_(model_, storage_),
        now_(kStart),
        features_(settings_, SetUp(*this)),
        powerline_(features_.GetPowerline()),
        device_(settings_, features_.All()) {}

  static FeatureSetup SetUp(DeviceTest& test) {
    return {7,
            [&test] { return test.now_; },
            [&test] { return test.steady_; },
            test.folder_.Path() + "/files",
            test.folder_.Path() + "/upload.bin",
            test.folder_.Path()};
  }

  StringTable Query(const std::string& text) {
    StringTable answer;
    problem_.clear();
    if (!device_.Query(StringTable(std::string(text), StringTable::kQueryText), "tester", answer,
                       problem_)) {
      EXPECT_NE(problem_, "");
      return StringTable();
    }
    return answer;
  }

  static std::string SetOn(Device& device,
                           const std::vector<std::pair<std::string, std::string>>& settings) {
    StringTable keys(1);
    StringTable values(1);
    for (const auto& [key, value] : settings) {
      keys.AddCells({key});
      values.AddCells({value});
    }
    return TableText(device.Set(keys, values, "tester"));
  }

  std::string Set(const std::vector<std::pair<std::string, std::string>>& settings) {
    return SetOn(device_, settings);
  }

  TestFolder folder_;
  Model model_;
  Storage storage_;
  Settings settings_;
  std::int64_t now_;
  std::int64_t steady_ = 1000;
  Features features_;
  Powerline& powerline_;
  Device device_;
  std::string problem_;
};
