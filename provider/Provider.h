// SPDX-License-Identifier: MIT
//
// A device's end of the providers' socket, for devices that are programs in C++: it speaks the
// messages of docs/provider.md, and calls back for what the service wants. One thread; nothing is
// called but from within Connect and Step. Handlers may push, keep and log, but not offer.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/Descriptor.h"
#include "platform/StringTable.h"

class Provider {
 public:
  // Name and value, in the order in which they came.
  using Pairs = std::vector<std::pair<std::string, std::string>>;

  // What somebody wants to know now. Only selectors and options that were offered come.
  struct Question {
    Pairs selectors;
    Pairs options;
    std::string client;

    // The value of the first selector of that name, null when there is none.
    const std::string* Selector(std::string_view name) const;
  };

  // A value, or why there is none: a few words for the service's log.
  struct Answer {
    StringTable table;
    std::string reason;  // "" when there is a value

    static Answer Of(std::string_view value);
    static Answer Of(StringTable table) { return {std::move(table), ""}; }
    static Answer None(std::string reason) { return {StringTable(), std::move(reason)}; }
  };

  // What is to be done. All values keep the limits of the model.
  struct Task {
    std::string value;
    Pairs parameters;
    std::string client;

    // The parameter's value; "" when it was not given.
    std::string_view Parameter(std::string_view name) const;
  };

  using Asked = std::function<Answer(const Question&)>;
  // "" when it is done, or why not: a whole sentence for a page.
  using Act = std::function<std::string(const Task&)>;
  // The settings that were subscribed to: all of them at first, then those that have changed. True
  // when they are in force; otherwise SendApplied tells it later.
  using Changed = std::function<bool(const Pairs& settings)>;

  // `name` is for the service's log: 1 to 63 printable ASCII characters.
  explicit Provider(std::string name) : name_(std::move(name)) {}
  Provider(const Provider&) = delete;
  Provider& operator=(const Provider&) = delete;

  // What the device has. All of it is said before Connect, which tells the service; each call of
  // Connect tells it anew. `selectors` are the names that a key may be asked with.
  void OfferPushedValue(const std::string& source);
  void OfferPushedTable(const std::string& source, std::vector<std::string> columns);
  void OfferValue(const std::string& source, std::vector<std::string> selectors, Asked asked);
  void OfferTable(const std::string& source, std::vector<std::string> columns, Asked asked);
  // The answer is one cell: the content of a file that the service makes for the one who asks.
  void OfferFile(const std::string& source, std::vector<std::string> selectors, Asked asked);
  void OfferAction(const std::string& source, Act act);
  // Settings whose keys are `prefix` or begin with it and a dot; "" for all.
  void Subscribe(std::string prefix) { prefixes_.push_back(std::move(prefix)); }
  void OnSettings(Changed changed) { changed_ = std::move(changed); }

  // Connects, makes the offers and waits until they are all accepted. False when the service can't
  // be reached or refuses one: Problem() says why.
  bool Connect(const std::string& socketPath);

  // The present value of something that was offered as pushed. False when the service is gone.
  bool Push(const std::string& source, std::string_view value);
  bool Push(const std::string& source, const StringTable& table);

  // What was kept with the settings, under names of this provider's own. Keep returns once it is
  // on the disk: "" or why it could not be stored. The empty value removes a name.
  const std::map<std::string, std::string>& Kept() const { return kept_; }
  std::string Keep(const Pairs& texts);
  // How often what is kept has changed; a factory reset takes all of it away.
  unsigned KeptChanges() const { return keptChanges_; }

  // The version of the firmware that runs, as the service knows it.
  const std::string& Firmware() const { return firmware_; }

  // The settings that were told last are in force now.
  bool SendApplied() { return Send({"applied", settingsId_}); }

  // Adds a line to the device's log: a sentence for the catalogues, which ends with a colon if a
  // subject follows, such as an address.
  bool AddEvent(std::string_view sentence, std::string_view subject = {});

  // Handles what the service has sent, and waits for it up to so many milliseconds (-1: for any
  // time). False when the service is gone, or sends what is no message: Problem() says which.
  bool Step(int timeoutMilliseconds);

  // To wait for together with other descriptors; below 0 without a connection.
  int DescriptorNumber() const { return socket_.Number(); }
  const std::string& Problem() const { return problem_; }

 private:
  struct Offer {
    const char* kind;
    const char* how;
    std::vector<std::string> names;  // columns of a table, else selectors
    Asked asked;
    Act act;
  };
  using Fields = std::vector<std::string>;

  bool Fail(std::string problem);
  bool Introduce();
  void TakeWelcome(const Fields& fields);
  bool Send(const Fields& fields);
  // The next whole message, for which it waits up to so many milliseconds. `fields` is empty when
  // none has come in time. False when the connection is lost.
  bool Receive(int timeoutMilliseconds, Fields& fields);
  bool ReadMore();
  bool TakeMessage(Fields& fields);
  // The next message of this kind and so many fields, for which it waits; others are handled later,
  // by Step.
  bool WaitFor(std::string_view kind, std::size_t count, Fields& fields);
  bool Handle(const Fields& fields);
  bool HandleAsk(const Fields& fields);
  bool HandleAct(const Fields& fields);

  std::string name_;
  std::map<std::string, Offer> offers_;
  std::vector<std::string> prefixes_;
  Changed changed_;
  std::string settingsId_;
  std::map<std::string, std::string> kept_;
  unsigned keptChanges_ = 0;
  std::string firmware_;
  Descriptor socket_{-1};
  std::string input_;
  std::deque<Fields> later_;  // came while something else was waited for
  std::string problem_;
};
