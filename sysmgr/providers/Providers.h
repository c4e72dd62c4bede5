// SPDX-License-Identifier: MIT
//
// The programs that make a device, all together: what they offer becomes sources and actions, what
// they push is kept in memory, and settings are told to those that subscribe. The rule to know:
// what a provider has said is gone with its connection, and nothing that it does or fails to do
// holds up anybody else.
#pragma once

#include <cstddef>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "base/Descriptor.h"
#include "sysmgr/loop/Listener.h"
#include "sysmgr/providers/ProviderLink.h"
#include "sysmgr/providers/ProviderSession.h"

class Providers final : private ProviderLink::Owner {
 public:
  static constexpr std::size_t kMaxProviders = 32;

  // Accepts from now on processes of our own user. The listener must outlive the providers.
  Providers(ProviderWorld world, Listener& listener, const ProviderPatience& patience = {});
  Providers(const Providers&) = delete;
  Providers& operator=(const Providers&) = delete;

  // The settings have new values: those who subscribed are told.
  void OnChange(const std::vector<std::string>& keys);

  // Everything that was stored is gone: all are told everything anew.
  void OnReset();

  // Whether settings are not in force everywhere yet.
  bool AreApplying() const;

 private:
  void Accept(Descriptor descriptor);
  bool IsTaken(std::string_view name) const;

  std::string Handle(ProviderLink& link, const ProviderLink::Fields& fields) override;
  void Remove(ProviderLink& link, const std::string& why) override;

  ProviderWorld world_;
  ProviderPatience patience_;
  std::list<std::unique_ptr<ProviderSession>> sessions_;
};
