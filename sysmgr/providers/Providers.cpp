// SPDX-License-Identifier: MIT
//
// A session that ends is taken off the list before it is destroyed: whoever hears of its end may
// begin something new.
#include "sysmgr/providers/Providers.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <utility>

#include "sysmgr/log/Log.h"

namespace {

bool IsOurUser(int descriptor) {
  ucred peer{};
  socklen_t size = sizeof peer;
  return getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
         peer.uid == geteuid();
}

}  // namespace

Providers::Providers(ProviderWorld world, Listener& listener, const ProviderPatience& patience)
    : world_(std::move(world)), patience_(patience) {
  listener.Accept(world_.loop, [this](Descriptor descriptor) { Accept(std::move(descriptor)); });
}

void Providers::Accept(Descriptor descriptor) {
  if (!IsOurUser(descriptor.Number())) {
    Log::WriteAboutClient("a provider of another user is disconnected");
    return;
  }
  if (sessions_.size() >= kMaxProviders) {
    Log::WriteAboutClient("too many providers: the new one is disconnected");
    return;
  }
  ProviderLink::Owner& owner = *this;
  sessions_.push_back(
      std::make_unique<ProviderSession>(world_, owner, std::move(descriptor), patience_,
                                        [this](std::string_view name) { return IsTaken(name); }));
}

bool Providers::IsTaken(std::string_view name) const {
  return std::any_of(sessions_.begin(), sessions_.end(),
                     [name](const auto& session) { return session->Name() == name; });
}

void Providers::OnChange(const std::vector<std::string>& keys) {
  for (const auto& session : sessions_) session->OnChange(keys);
}

void Providers::OnReset() {
  for (const auto& session : sessions_) session->OnReset();
}

bool Providers::AreApplying() const {
  return std::any_of(sessions_.begin(), sessions_.end(),
                     [](const auto& session) { return session->IsApplying(); });
}

std::string Providers::Handle(ProviderLink& link, const ProviderLink::Fields& fields) {
  for (const auto& session : sessions_) {
    if (session->Has(link)) return session->Handle(fields);
  }
  return "it is gone";
}

void Providers::Remove(ProviderLink& link, const std::string& why) {
  const auto found = std::find_if(sessions_.begin(), sessions_.end(),
                                  [&link](const auto& session) { return session->Has(link); });
  if (found == sessions_.end()) return;
  const std::unique_ptr<ProviderSession> session = std::move(*found);
  sessions_.erase(found);
  Log::Write("provider '" + session->Name() + "' is disconnected: " + why, Log::Priority::kWarning);
}
