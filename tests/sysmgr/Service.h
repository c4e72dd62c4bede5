// SPDX-License-Identifier: MIT
//
// A system manager of one test's own, and clients that speak to it in raw bytes. The rule to know:
// whatever is waited for, is waited for with a limit, and the limit passing is a failure.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

#include "platform/StringTable.h"
#include "tests/TestFolder.h"
#include "tests/sysmgr/Asker.h"

struct ServiceSetup {
  std::string model;          // text of the model; "" for the one of the product
  std::string authorisation;  // content of the file; "" for no file
  unsigned authorisationMode = 0640;
  std::string database;            // path; "" for one in the service's folder
  unsigned long maxFileBytes = 0;  // limit on the size of files; 0 for none
};

class Service {
 public:
  // Starts the service and waits until it listens or has ended.
  explicit Service(const ServiceSetup& setup = ServiceSetup());
  // Ends it with SIGTERM.
  ~Service();
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  bool IsRunning() const { return process_ > 0; }
  pid_t Process() const { return process_; }
  const std::string& Socket() const { return socket_; }
  const std::string& Folder() const { return folder_.Path(); }

  // Sends the signal and waits for the end: "exit 0", "signal 9".
  std::string End(int signal);

  // Starts it again, with the same settings.
  void Start();

  // What it wrote to its log so far, over all its starts.
  std::string Log() const;

  long ResidentKilobytes() const;

 private:
  ServiceSetup setup_;
  TestFolder folder_;
  std::string socket_;
  std::string ending_;
  pid_t process_ = -1;
};

class Client {
 public:
  // A hang is what this ends: a service with sanitizers on a busy machine takes its time.
  static constexpr int kWaitMilliseconds = 30000;

  explicit Client(const std::string& socket);
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  bool IsConnected() const { return descriptor_ >= 0; }
  int Descriptor() const { return descriptor_; }

  // False when the service took not all of it.
  bool Send(std::string_view bytes);
  void SendNoMore();

  // The payload of the next message; "closed" or "nothing" when there is none.
  std::string Receive(int waitMilliseconds = kWaitMilliseconds);

  // Whether the service closes the connection within the time.
  bool IsClosed(int waitMilliseconds = kWaitMilliseconds);

 private:
  int descriptor_;
  std::string input_;
};

// A message of the given fields.
std::string Message(const std::vector<std::string_view>& fields);

std::string QueryRequest(std::string_view query, std::string_view authorisation = "");
std::string SetRequest(const std::vector<std::pair<std::string, std::string>>& settings,
                       std::string_view authorisation = "");

// An answer's payload as it must be for that result and reply.
std::string Answer(int result, std::string_view reply);

// The table that answers a request, as text; or what came instead, in brackets.
std::string Ask(Client& client, const std::string& request);
