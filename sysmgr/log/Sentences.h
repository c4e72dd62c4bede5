// SPDX-License-Identifier: MIT
//
// All sentences about refusals and failures; their table is in Sentences.cpp. The rule to know: a
// sentence does not depend on the content of a request or a file, so the pages' catalogues can
// translate it. Its limits come from the model; names and lines are kept beside it (Outcome.h).
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

enum class OutcomeKind {
  kSuccess,
  kInvalid,    // the input breaks a limit or is malformed
  kUnknown,    // it names something that does not exist
  kDenied,     // it is forbidden, or forbidden to this client
  kBusy,       // the same may succeed later
  kDefective,  // the device's storage or memory fails
};

// The part that a sentence belongs to.
enum class Topic {
  kLog,             // for the log only, such as a refused query
  kSetting,         // any setting, action or parameter
  kForm,            // what carries a ticket
  kUndo,            // taking a change back
  kTrial,           // settings on trial
  kLimit,           // a key's limits, which the model fills in
  kUpload,          // any uploaded file
  kDevicePassword,  // what asks for the device's password
  kNewPassword,     // a new one
  kConfiguration,   // a configuration to be restored
  kFirmware,        // an image to be installed
  kRestart,         // restart, factory reset, firmware update
  kEvent,           // of the device's log; with a colon at its end when a subject follows
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
  kNoValue,
  kNoValueYet,
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
  kNoDevice,
  kDeviceBusy,
  kDeviceRefuses,
  // kForm
  kDoneAlready,
  kOldForm,
  kChangedElsewhere,
  kFormMoved,
  // kUndo
  kUndoTooLate,
  kUndoMoved,
  // kTrial
  kNoTrial,
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
  kTimeZone,
  // kUpload
  kNoUpload,
  kUploadNotReadable,
  kUploadOfOther,
  kUploadLinked,
  kUploadTooLarge,
  // kDevicePassword
  kTryPasswordAgain,
  kDevicePasswordWrong,
  // kNewPassword
  kNoDevicePassword,
  kPasswordsDiffer,
  kCommonPassword,
  // kConfiguration
  kTryAgain,
  kPasswordNeeded,
  kWrongPassword,
  kUnknownCipher,
  kNoMemoryToDecrypt,
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
  kOfOtherDevice,
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
  kNoFirmwareKey,
  kImageUnsigned,
  kImageForeign,
  kOlderFirmware,
  // kRestart
  kInstalling,
  // kEvent
  kEventStarted,
  kEventSetting,
  kEventSettings,
  kEventRestored,
  kEventConfigPassword,
  kEventReset,
  kEventSettingsNewer,
  kEventSettingsDamaged,
  kEventPassword,
  kEventImageRefused,
  kEventImageChecked,
  kEventInstalling,
  kEventInstalled,
  kEventNotInstalled,
  kEventTrial,
  kEventTrialKept,
  kEventTrialOver,
  kEventTrialEnded,
};

namespace Sentences {

OutcomeKind KindOf(Sentence sentence);

// The text, with the limits filled in, in their order. It holds none of < > & " '.
std::string TextOf(Sentence sentence, std::initializer_list<std::string_view> limits = {});

// The texts of a topic whose sentences take no limits.
std::vector<std::string> OfTopic(Topic topic);

}  // namespace Sentences
