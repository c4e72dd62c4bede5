// SPDX-License-Identifier: MIT
//
// The product's model over a simulated device whose clocks stand still.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>

#include "sysmgr/Features.h"
#include "sysmgr/device/Device.h"
#include "sysmgr/device/Storage.h"
#include "sysmgr/model/ModelReader.h"
#include "tests/TestFolder.h"
#include "tests/sysmgr/Asker.h"

class DeviceTest : public testing::Test, protected Asker {
 protected:
  std::string Query(const StringTable& keys) override {
    StringTable answer;
    std::string problem;
    if (process_->device.Query(keys, client_, answer, problem)) return TableText(answer);
    return "[" + problem + "]";
  }
  std::string Store(const StringTable& keys, const StringTable& values) override {
    return TableText(process_->device.Set(keys, values, client_));
  }

  // All that ends with the process.
  struct Process {
    explicit Process(DeviceTest& test)
        : settings(test.model_, test.storage_),
          features(settings, {7, [&test] { return test.now_; }, [&test] { return test.steady_; },
                              test.folder_.Path("files"), test.folder_.Path("upload.bin"),
                              test.folder_.Path()}),
          device(settings, features.All()) {}

    Settings settings;
    Features features;
    Device device;
  };

  std::string client_ = "tester";
  std::int64_t now_ = 1700000000;
  std::int64_t steady_ = 1000;
  TestFolder folder_{"/tmp/vistel-sysmgr"};
  Model model_ = ReadModelFile(VISTEL_TEST_MODEL);
  Storage storage_{folder_.Path("settings.db"), model_};
  std::optional<Process> process_{*this};
};
