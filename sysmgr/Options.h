// SPDX-License-Identifier: MIT
//
// The command line of the service. Every path has a default from the build (docs/settings.md).
#pragma once

#include <string>

struct Options {
  enum class Action { kServe, kCheckModel, kMessages, kHelp, kVersion };

  Action action = Action::kServe;
  std::string socket;
  std::string providers;
  std::string model;
  std::string database;
  std::string authorisation;
  std::string files;
  std::string upload;
  bool isOpen = false;  // serves without a secret
  std::string firmwareKeys;
  std::string password;
  std::string commonPasswords;
};

// Throws StartFailure with what is wrong. The build sets the defaults.
Options ParseOptions(int count, char** arguments);

// The text of --help.
std::string HelpText();
