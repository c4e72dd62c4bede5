// SPDX-License-Identifier: MIT
//
// The product's model over a simulated device whose clocks stand still.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
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
    const Outcome outcome = device_.Query(keys, client_, answer);
    return outcome.IsSuccess() ? TableText(answer) : "[" + outcome.Record() + "]";
  }
  std::string Store(const StringTable& keys, const StringTable& values) override {
    // Whatever is refused is refused with a sentence that translators are told.
    static const std::set<std::string> kMessages = MessagesOf(ReadModelFile(VISTEL_TEST_MODEL));
    StringTable answer(1);
    for (const Outcome& outcome : device_.Set(keys, values, client_)) {
      EXPECT_EQ(outcome.IsSuccess(), kMessages.count(outcome.Text()) == 0) << outcome.Text();
      answer.AddCells({outcome.Text()});
    }
    return TableText(answer);
  }

  std::string client_ = "tester";
  std::int64_t now_ = 1700000000;
  std::int64_t steady_ = 1000;
  TestFolder folder_{"/tmp/vistel-sysmgr"};
  Model model_ = ReadModelFile(VISTEL_TEST_MODEL);
  Storage storage_{folder_.Path("settings.db"), model_};
  Settings settings_{model_, storage_};
  Features features_{settings_,
                     {7, [this] { return now_; }, [this] { return steady_; }, folder_.Path("files"),
                      folder_.Path("upload.bin"), folder_.Path()}};
  Powerline& powerline_ = features_.GetPowerline();
  Device device_{settings_, features_.All()};
};
