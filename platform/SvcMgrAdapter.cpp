// SPDX-License-Identifier: MIT
#include "platform/SvcMgrAdapter.h"

void SvcMgrAdapter::handleEvent(const std::string& /*sender*/, const SysMgrEvent& /*event*/,
                                const std::string& /*client*/) {}

int SvcMgrAdapter::sSetKey(const std::string& /*client*/, const std::string& /*keys*/,
                           const std::string& /*values*/, std::string& reply) {
  reply.clear();
  return kSvcMgrUnsupported;
}

int SvcMgrAdapter::sQueryKey(const std::string& /*client*/, const std::string& /*query*/,
                             const std::string& /*option*/, std::string& reply) {
  reply.clear();
  return kSvcMgrUnsupported;
}

int SvcMgrAdapter::sQueryKey(const std::string& /*client*/, const Config::Key::Key& /*key*/,
                             const std::string& /*option*/, Config::Node*& answer) {
  answer = nullptr;
  return kSvcMgrUnsupported;
}

int SvcMgrAdapter::aQueryKey(const std::string& /*client*/, const std::string& /*query*/,
                             const std::string& /*option*/) {
  return kSvcMgrUnsupported;
}

int SvcMgrAdapter::aQueryHandler(const std::string& /*client*/, const std::string& /*query*/,
                                 const std::string& /*reply*/) {
  return kSvcMgrUnsupported;
}

int SvcMgrAdapter::command(SvcMgrCommand /*command*/, std::string& reply,
                           const std::string& /*argument*/) {
  reply.clear();
  return kSvcMgrUnsupported;
}

SvcMgrState SvcMgrAdapter::state() const {
  return state_;
}

int SvcMgrAdapter::start(Config::Tree* /*configuration*/) {
  state_ = SvcMgrState::kRunning;
  return kSvcMgrOk;
}

int SvcMgrAdapter::stop() {
  state_ = SvcMgrState::kStopped;
  return kSvcMgrOk;
}

std::string SvcMgrAdapter::getName() const {
  return std::string();
}
