// SPDX-License-Identifier: MIT
//
// Case files: text files that anyone who writes templates can write.
//
//   === name of the case
//   comments, up to the first section
//   --- template [FILE]              the content of a file of the case's own folder; main.wgl
//   unless
//                                    named, which is what the default request asks for
//   --- symlink FILE TARGET          and further kinds of files: fifo FILE, directory FILE,
//                                    unreadable FILE
//   --- request                      the whole environment, a NAME=value on each line
//   --- body                         standard input; empty without this section
//   --- stdin closed                 no standard input at all
//   --- open-files N                 at most N files
//   --- response [CONTENT-TYPE]      all that is written; with a content type, what follows the
//                                    header block of that type
//   --- wgl-error LINE MESSAGE       the response is this template error in main.wgl
//   --- uploaded                     what the upload file holds afterwards; without this section
//                                    there is none
//   --- exit N                       the exit status, when it isn't 0
//   --- errors                       standard error, when it isn't empty
//
// The newline in front of the next section or case belongs to that one: a text that ends in a
// newline is followed by an empty line. A section whose head ends in "escaped" may hold \n, \r, \t,
// \\ and \xHH for a byte. Everywhere, @ROOT@ is the document root and @DIR@ the case's folder as a
// path that starts there.
#pragma once

#include <string>
#include <vector>

struct CaseSection {
  std::string kind;
  std::vector<std::string> words;  // the rest of its head, without "escaped"
  std::string text;
};

struct Case {
  std::string name;  // "file.case_name"
  std::vector<CaseSection> sections;
};

// All cases of all files in a folder.
std::vector<Case> ReadCases(const std::string& folder);
