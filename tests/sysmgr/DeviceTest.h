// SPDX-License-Identifier: MIT
//
// The product's model over a simulated device whose clocks stand still.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "sysmgr/Features.h"
#include "sysmgr/Messages.h"
#include "sysmgr/device/Device.h"
#include "sysmgr/device/Storage.h"
#include "sysmgr/model/ModelReader.h"
#include "tests/TestFolder.h"
#include "tests/sysmgr/Asker.h"

class DeviceTest : public testing::Test, protected Asker {
 protected:
  std::string Query(const StringTable& keys) override {
    StringTable answer;
    const Outcome outcome = process_->device.Query(keys, client_, answer);
    return outcome.IsSuccess() ? TableText(answer) : "[" + outcome.Record() + "]";
  }
  std::string Store(const StringTable& keys, const StringTable& values) override {
    // Whatever is refused is refused with a sentence that translators are told.
    static const std::set<std::string> kMessages = MessagesOf(ReadModelFile(VISTEL_TEST_MODEL));
    StringTable answer(1);
    for (const Outcome& outcome : process_->device.Set(keys, values, client_)) {
      EXPECT_EQ(outcome.IsSuccess(), kMessages.count(outcome.Text()) == 0) << outcome.Text();
      answer.AddCells({outcome.Text()});
    }
    return TableText(answer);
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
