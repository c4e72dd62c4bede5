// SPDX-License-Identifier: MIT
//
// Every sentence with which something is refused or fails; the table is in Sentences.cpp. The rule
// to know: a sentence does not change with what a request or a file holds, so the pages' catalogues
// can translate it. Its limits come from the model; names and lines travel beside it (Outcome.h).
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

enum class OutcomeKind {
  kSuccess,
  kInvalid,    // what was sent breaks a limit or has the wrong form
  kUnknown,    // it names what is not there
  kDenied,     // it must not be done, or not by this client
  kBusy,       // the same may succeed later
  kDefective,  // the device can't: its storage or its memory
};

// What brings a sentence.
enum class Topic {
  kLog,            // what only a log tells, such as a refused query
  kSetting,        // any setting, action or parameter
  kLimit,          // a key's limits, which the model fills in
  kUpload,         // any uploaded file
  kConfiguration,  // one that is to be restored
  kFirmware,       // an image that is to be installed
  kRestart,        // restart, factory reset, firmware update
  kStation,        // naming and adding stations
};

enum class Sentence : unsigned {
  // kLog
  kNotUnderstood,
  kNotAuthorised,
  kNoSet,
  kNoKeys,
  kTooManyKeys,
  kAnswerTooLarge,
  kLiveValuesTooLarge,
  kMalformedKey,
  kUnknownKey,
  kNotReadable,
  kNoTable,
  kNoColumn,
  kNoSelector,
  kSelectorMissing,
  kNoOption,
  kNoOptionValue,
  kTooManyFiles,
  kFilesWaiting,
  kFileNotMade,
  kNoPassword,
  kExportTooLarge,
  kNoMemory,
  kImageNotReadable,
  kImageCameBackDamaged,
  // kSetting
  kNoSetting,
  kReadOnly,
  kNotByName,
  kNotOpen,
  kTwice,
  kActionNotAlone,
  kActionMissing,
  kParameterMissing,
  kStorageFull,
  kStorageReadOnly,
  kStorageFails,
  // kLimit
  kNotUtf8,
  kControls,
  kCharacters,
  kCharactersAtMost,
  kCharactersExactly,
  kCharacterAtMost,
  kCharacterExactly,
  kNumber,
  kNumberExactly,
  kChoice,
  kMacAddress,
  kNetworkMask,
  kDeviceAddress,
  // kUpload
  kNoUpload,
  kUploadNotReadable,
  kUploadTooLarge,
  // kConfiguration
  kTryAgain,
  kPasswordNeeded,
  kWrongPassword,
  kUnknownCipher,
  kNoMemoryToDecipher,
  kNoConfiguration,
  kNewerFormat,
  kNoModelVersion,
  kOtherDevice,
  kNewerModel,
  kNoSettings,
  kTooManySettings,
  kTooManyMistakes,
  kMistakes,
  kNotWellFormed,
  kDocumentType,
  kTooDeep,
  kUnknownElement,
  kUnknownAttribute,
  kTextOutside,
  kNoSettingNamed,
  kNotInConfigurations,
  // kFirmware
  kNoImage,
  kUnknownHeader,
  kUnknownHeaderLine,
  kHeaderLineMissing,
  kHeaderLineTwice,
  kFaultyHeaderLine,
  kHeaderTooLong,
  kImageForOther,
  kImageTooLarge,
  kImageTooLong,
  kImageCut,
  kImageDamaged,
  kNotInstalled,
  // kRestart
  kInstalling,
  // kStation
  kNoStation,
  kOwnName,
  kWrongDevicePassword,
  kInNetworkAlready,
};

namespace Sentences {

OutcomeKind KindOf(Sentence sentence);

// The text, with its limits filled in in their order. It holds none of < > & " '.
std::string TextOf(Sentence sentence, std::initializer_list<std::string_view> limits = {});

// The texts of a topic; not for one whose sentences take limits.
std::vector<std::string> OfTopic(Topic topic);

}  // namespace Sentences
