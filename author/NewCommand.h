// SPDX-License-Identifier: MIT
//
// `vistel new DIR`: a small site to begin with, which docs/guide.md builds step by step.
#pragma once

#include <string>
#include <vector>

struct Options;

struct NewFile {
  std::string name;  // from the site's root
  std::string text;
};

// The files of author/new; the build makes this function.
const std::vector<NewFile>& NewSite();

// Lays the site out in a folder that is empty or doesn't exist. Returns the exit status. Throws
// Failure.
int LayOutSite(const Options& options);
