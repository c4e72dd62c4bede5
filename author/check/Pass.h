// SPDX-License-Identifier: MIT
//
// Passes over pages, in processes of their own: the language has one scanner per process, and ends
// the process at most errors. A process goes on with other pages as long as the language lets it.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "author/check/Judges.h"
#include "base/Descriptor.h"

// What a pass is to trace: which page, with which choices of files.
struct PassOrder {
  std::size_t number = 0;  // of all orders
  std::size_t page = 0;    // the index of an entry point
  std::vector<std::size_t> decisions;
};

struct FinishedPass {
  PassOrder order;
  PassResult result;
};

class PassProcesses {
 public:
  // The entry points and the model must outlive this object and stay as they are.
  PassProcesses(const std::vector<EntryPoint>& entries, const DeviceModel& model);
  ~PassProcesses();
  PassProcesses(const PassProcesses&) = delete;
  PassProcesses& operator=(const PassProcesses&) = delete;

  // As many as there are processors take orders at once.
  bool IsIdle() const;
  bool IsFull() const;

  // Gives out an order; call it only if this is not full. Throws Failure when there can be no
  // further process.
  void Begin(PassOrder order);

  // Waits for results, in whatever order they come; call it only if this is not idle. A page that
  // can't be traced at all has a finding.
  std::vector<FinishedPass> Finish();

 private:
  struct Process {
    pid_t child = -1;                // none
    Descriptor socket;               // orders go there, results come
    std::optional<PassOrder> order;  // while it works on one
    std::string received;
  };

  void Start(Process& process);
  std::optional<FinishedPass> Receive(Process& process);

  const std::vector<EntryPoint>& entries_;
  const DeviceModel& model_;
  std::vector<Process> processes_;
};
