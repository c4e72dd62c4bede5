// SPDX-License-Identifier: MIT
//
// The only file that knows the build's paths.
#include "sysmgr/Options.h"

#include <getopt.h>

#include "sysmgr/log/Failure.h"

namespace {

constexpr option kOptions[] = {{"socket", required_argument, nullptr, 's'},
                               {"providers", required_argument, nullptr, 'p'},
                               {"model", required_argument, nullptr, 'm'},
                               {"database", required_argument, nullptr, 'd'},
                               {"authorisation", required_argument, nullptr, 'a'},
                               {"files", required_argument, nullptr, 'f'},
                               {"upload", required_argument, nullptr, 'u'},
                               {"open", no_argument, nullptr, 'o'},
                               {"firmware-keys", required_argument, nullptr, 'r'},
                               {"password", required_argument, nullptr, 'w'},
                               {"common-passwords", required_argument, nullptr, 'k'},
                               {"check-model", no_argument, nullptr, 'c'},
                               {"messages", no_argument, nullptr, 'g'},
                               {"help", no_argument, nullptr, 'h'},
                               {"version", no_argument, nullptr, 'v'},
                               {nullptr, 0, nullptr, 0}};

std::string& PathOf(Options& options, int chosen) {
  switch (chosen) {
    case 's':
      return options.socket;
    case 'p':
      return options.providers;
    case 'm':
      return options.model;
    case 'd':
      return options.database;
    case 'a':
      return options.authorisation;
    case 'f':
      return options.files;
    case 'r':
      return options.firmwareKeys;
    case 'w':
      return options.password;
    case 'k':
      return options.commonPasswords;
    default:
      return options.upload;
  }
}

}  // namespace

Options ParseOptions(int count, char** arguments) {
  Options options;
  options.socket = VISTEL_SYSMGR_SOCKET;
  options.providers = VISTEL_SYSMGR_PROVIDERS;
  options.model = VISTEL_SYSMGR_MODEL;
  options.database = VISTEL_SYSMGR_DATABASE;
  options.authorisation = VISTEL_AUTHORISATION_FILE;
  options.files = VISTEL_SYSMGR_FILES;
  options.upload = VISTEL_UPLOAD_FILE;
  options.firmwareKeys = VISTEL_FIRMWARE_KEYS;
  options.password = VISTEL_PASSWORD_FILE;
  options.commonPasswords = VISTEL_COMMON_PASSWORDS;
  optind = 1;
  opterr = 0;
  int chosen = 0;
  while ((chosen = getopt_long(count, arguments, "", kOptions, nullptr)) != -1) {
    switch (chosen) {
      case 'c':
        options.action = Options::Action::kCheckModel;
        break;
      case 'o':
        options.isOpen = true;
        break;
      case 'g':
        options.action = Options::Action::kMessages;
        break;
      case 'h':
        options.action = Options::Action::kHelp;
        return options;
      case 'v':
        options.action = Options::Action::kVersion;
        return options;
      case '?':
        throw StartFailure("'" + std::string(arguments[optind - 1]) +
                           "' is unknown or lacks its value; see --help");
      default:
        PathOf(options, chosen) = optarg;
    }
  }
  if (optind < count) {
    throw StartFailure("'" + std::string(arguments[optind]) + "' is unknown; see --help");
  }
  return options;
}

std::string HelpText() {
  return "Usage: sysmgrd [OPTION ...]\n"
         "\n"
         "Serves the device's settings and live values to programs on this device, in the\n"
         "foreground, until SIGTERM. Writes its log to standard error. SIGHUP: reads the secret "
         "again.\n"
         "\n"
         "  --socket PATH         listen here (" VISTEL_SYSMGR_SOCKET
         ")\n"
         "  --providers PATH      listen here for providers (" VISTEL_SYSMGR_PROVIDERS
         ")\n"
         "  --model FILE          keys, types and limits (" VISTEL_SYSMGR_MODEL
         ")\n"
         "  --database FILE       the settings (" VISTEL_SYSMGR_DATABASE
         ")\n"
         "  --authorisation FILE  the secret that clients show (" VISTEL_AUTHORISATION_FILE
         ")\n"
         "  --open                without that file, serve every client that reaches the socket\n"
         "  --files FOLDER        files for clients to fetch (" VISTEL_SYSMGR_FILES
         ")\n"
         "  --upload FILE         what a page has uploaded (" VISTEL_UPLOAD_FILE
         ")\n"
         "  --firmware-keys FOLDER\n"
         "                        of those whose firmware is installed (" VISTEL_FIRMWARE_KEYS
         ")\n"
         "  --password FILE       the device's password, for web servers (" VISTEL_PASSWORD_FILE
         ")\n"
         "  --common-passwords FILE\n"
         "                        those that nobody may choose (" VISTEL_COMMON_PASSWORDS
         ")\n"
         "  --check-model         only check the model\n"
         "  --messages            only print all sentences that pages can get, for translators\n"
         "  --help, --version\n"
         "\n"
         "Exit status: 0 ended by a signal, 1 could not start or go on, 2 wrong option.\n";
}
