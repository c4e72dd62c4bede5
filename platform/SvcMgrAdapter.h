// SPDX-License-Identifier: MIT
//
// A service that offers nothing, as the base of a program that only queries. It refuses queries,
// settings and commands as unsupported and ignores events; start and stop keep the state.
#pragma once

#include "platform/SvcMgrInterface.h"

class SvcMgrAdapter : public SvcMgrInterface {
 public:
  void handleEvent(const std::string& sender, const SysMgrEvent& event,
                   const std::string& client) override;
  int sSetKey(const std::string& client, const std::string& keys, const std::string& values,
              std::string& reply) override;
  int sQueryKey(const std::string& client, const std::string& query, const std::string& option,
                std::string& reply) override;
  int sQueryKey(const std::string& client, const Config::Key::Key& key, const std::string& option,
                Config::Node*& answer) override;
  int aQueryKey(const std::string& client, const std::string& query,
                const std::string& option) override;
  int aQueryHandler(const std::string& client, const std::string& query,
                    const std::string& reply) override;
  int command(SvcMgrCommand command, std::string& reply, const std::string& argument) override;
  SvcMgrState state() const override;
  int start(Config::Tree* configuration) override;
  int stop() override;
  std::string getName() const override;

 private:
  SvcMgrState state_ = SvcMgrState::kStopped;
};
