// SPDX-License-Identifier: MIT
//
// What a program offers to the system manager when it is a service itself.
//
// Client libraries rely on the order of the operations, because it is their order in the table of
// virtual functions: add nothing between them.
#pragma once

#include <string>

#include "platform/ConfigKey.h"
#include "platform/ConfigTree.h"

// Results of the operations; 0 is success.
enum SvcMgrResult : int {
  kSvcMgrOk = 0,
  kSvcMgrUnsupported = -1,  // the service doesn't offer this operation
};

enum class SvcMgrCommand { kReload, kReset };

enum class SvcMgrState { kStopped, kRunning };

// Something that happened to a key.
struct SysMgrEvent {
  std::string key;
  std::string text;
};

class SvcMgrInterface {
 public:
  // An event of the service `sender`; `client` is who caused it.
  virtual void handleEvent(const std::string& sender, const SysMgrEvent& event,
                           const std::string& client) = 0;

  // Sets `keys` to `values`, both serialised tables of one column. `reply` is a table of one column
  // with a row for each key: "" or what is wrong.
  virtual int sSetKey(const std::string& client, const std::string& keys, const std::string& values,
                      std::string& reply) = 0;

  // Answers the serialised table of keys `query` with the serialised table `reply`.
  virtual int sQueryKey(const std::string& client, const std::string& query,
                        const std::string& option, std::string& reply) = 0;

  // The same for one key; the caller deletes `answer`.
  virtual int sQueryKey(const std::string& client, const Config::Key::Key& key,
                        const std::string& option, Config::Node*& answer) = 0;

  // Begins a query whose answer comes through aQueryHandler.
  virtual int aQueryKey(const std::string& client, const std::string& query,
                        const std::string& option) = 0;
  virtual int aQueryHandler(const std::string& client, const std::string& query,
                            const std::string& reply) = 0;

  virtual int command(SvcMgrCommand command, std::string& reply, const std::string& argument) = 0;
  virtual SvcMgrState state() const = 0;

  // The caller owns `configuration`, which must outlive the service.
  virtual int start(Config::Tree* configuration) = 0;
  virtual int stop() = 0;

  virtual std::string getName() const = 0;

  virtual ~SvcMgrInterface() = default;
};
