// SPDX-License-Identifier: MIT
//
// The system manager for another device: one table of 500 rows and 6 columns with the source
// "large". The simulated powerline with its eight stations has no such table. The rule: everything
// but the source is the service's own library, and the program takes the same options.
#include <malloc.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>

#include "sysmgr/Options.h"
#include "sysmgr/device/Device.h"
#include "sysmgr/device/Settings.h"
#include "sysmgr/device/Sources.h"
#include "sysmgr/device/Storage.h"
#include "sysmgr/model/ModelReader.h"
#include "sysmgr/service/Authorisation.h"
#include "sysmgr/service/Dispatcher.h"
#include "sysmgr/service/Server.h"

namespace {

constexpr unsigned kRows = 500;

// The same as in sysmgrd.
constexpr int kLargeBufferBytes = 256 * 1024;

// Texts that strangers could write into two of the columns.
constexpr const char* kNames[] = {
    "Wohnzimmer & K\xC3\xBC\x63he", "<script>alert(\"powerline\")</script>", "O'Brien \"attic\" <3",
    "\"><img src=x onerror=alert(1)>", "Keller, hinter der Waschmaschine"};
constexpr const char* kNotes[] = {"1. Stock; {Role=local} & <b>", "Garage", "'--\"<>&", "",
                                  "B\xC3\xBCro Gr\xC3\xB6\xC3\x9F\x65 > 3"};

class LargeTable {
 public:
  LargeTable() {
    auto rows = std::make_shared<std::vector<LiveRow>>();
    for (unsigned row = 0; row < kRows; ++row) {
      char mac[sizeof "02:00:00:00:00:00"];
      std::snprintf(mac, sizeof mac, "02:00:00:7f:%02x:%02x", row >> 8, row & 0xff);
      rows->push_back({mac, kNames[row % std::size(kNames)], std::to_string(row * 37 % 500),
                       std::to_string(row * 91 % 500), "7.12.3-4",
                       kNotes[row / 3 % std::size(kNotes)]});
    }
    rows_ = rows;
  }

  void OfferTo(Sources& sources) const {
    sources.OfferTable("large", {{"MacAddress", "Name", "TxRate", "RxRate", "Firmware", "Note"},
                                 [rows = rows_](const Question&) { return rows; }});
  }

 private:
  LiveRows rows_;
};

}  // namespace

int main(int count, char** arguments) {
  mallopt(M_MMAP_THRESHOLD, kLargeBufferBytes);
  try {
    const Options options = ParseOptions(count, arguments);
    const Model model = ReadModelFile(options.model);
    Authorisation authorisation(options.authorisation, options.isOpen);
    Storage storage(options.database, model);
    Settings settings(model, storage);
    Sources sources;
    LargeTable().OfferTo(sources);
    Device device(settings, sources);
    Dispatcher dispatcher(device, authorisation);
    EventLoop loop;
    loop.OnSignal(SIGTERM, [&loop] { loop.End(); });
    Listener listener(options.socket, 0600);
    Server server(loop, listener, dispatcher);
    loop.Run();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "large-table: %s\n", error.what());
    return 1;
  }
}
