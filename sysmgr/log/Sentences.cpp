// SPDX-License-Identifier: MIT
//
// A row for each sentence, in the order of the enumeration. "%" is replaced by a limit.
#include "sysmgr/log/Sentences.h"

#include <array>
#include <cstddef>

namespace {

struct Row {
  Sentence sentence;
  OutcomeKind kind;
  Topic topic;
  const char* text;
};

// clang-format off
constexpr std::array kRows = {
    Row{Sentence::kNotUnderstood, OutcomeKind::kInvalid, Topic::kLog, "The request is not understood."},
    Row{Sentence::kNotAuthorised, OutcomeKind::kDenied, Topic::kLog, "The authorisation is wrong."},
    Row{Sentence::kNoSet, OutcomeKind::kInvalid, Topic::kLog, "A set is two tables of one column with as many keys as values, 1 to %."},
    Row{Sentence::kNoKeys, OutcomeKind::kInvalid, Topic::kLog, "A query is a table of one column with a row for each key."},
    Row{Sentence::kTooManyKeys, OutcomeKind::kInvalid, Topic::kLog, "There are more than % keys."},
    Row{Sentence::kAnswerTooLarge, OutcomeKind::kInvalid, Topic::kLog, "The answer would be larger than % bytes."},
    Row{Sentence::kLiveValuesTooLarge, OutcomeKind::kInvalid, Topic::kLog, "The live values would be larger than % bytes."},
    Row{Sentence::kMalformedKey, OutcomeKind::kInvalid, Topic::kLog, "The key is malformed."},
    Row{Sentence::kUnknownKey, OutcomeKind::kUnknown, Topic::kLog, "There is no such key."},
    Row{Sentence::kNotReadable, OutcomeKind::kDenied, Topic::kLog, "The key cannot be read."},
    Row{Sentence::kNoTable, OutcomeKind::kInvalid, Topic::kLog, "The key is not a table."},
    Row{Sentence::kNoColumn, OutcomeKind::kUnknown, Topic::kLog, "There is no such column."},
    Row{Sentence::kNoSelector, OutcomeKind::kUnknown, Topic::kLog, "There is no such selector."},
    Row{Sentence::kSelectorMissing, OutcomeKind::kInvalid, Topic::kLog, "A selector is missing."},
    Row{Sentence::kNoOption, OutcomeKind::kUnknown, Topic::kLog, "There is no such option."},
    Row{Sentence::kNoOptionValue, OutcomeKind::kUnknown, Topic::kLog, "The option does not take this value."},
    Row{Sentence::kTooManyFiles, OutcomeKind::kInvalid, Topic::kLog, "The query asks for more files than one may, which is %."},
    Row{Sentence::kFilesWaiting, OutcomeKind::kBusy, Topic::kLog, "Too many files have not been fetched yet."},
    Row{Sentence::kFileNotMade, OutcomeKind::kDefective, Topic::kLog, "The file cannot be made."},
    Row{Sentence::kNoPassword, OutcomeKind::kDenied, Topic::kLog, "No password is set."},
    Row{Sentence::kExportTooLarge, OutcomeKind::kDefective, Topic::kLog, "The configuration is too large."},
    Row{Sentence::kNoMemory, OutcomeKind::kDefective, Topic::kLog, "There is not enough memory."},
    Row{Sentence::kImageNotReadable, OutcomeKind::kDefective, Topic::kLog, "The firmware image cannot be read."},
    Row{Sentence::kImageCameBackDamaged, OutcomeKind::kDefective, Topic::kLog, "The firmware image came back damaged."},
    Row{Sentence::kNoValue, OutcomeKind::kUnknown, Topic::kLog, "The device has no such value."},
    Row{Sentence::kNoValueYet, OutcomeKind::kBusy, Topic::kLog, "The device has not told this value yet."},
    Row{Sentence::kNoSetting, OutcomeKind::kUnknown, Topic::kSetting, "There is no such setting."},
    Row{Sentence::kReadOnly, OutcomeKind::kDenied, Topic::kSetting, "This value can only be read."},
    Row{Sentence::kNotByName, OutcomeKind::kInvalid, Topic::kSetting, "A setting is set by its name alone."},
    Row{Sentence::kNotOpen, OutcomeKind::kDenied, Topic::kSetting, "This is not open to this client."},
    Row{Sentence::kTwice, OutcomeKind::kInvalid, Topic::kSetting, "This setting is there twice."},
    Row{Sentence::kActionNotAlone, OutcomeKind::kInvalid, Topic::kSetting, "An action must be sent alone, with its own values only."},
    Row{Sentence::kActionMissing, OutcomeKind::kInvalid, Topic::kSetting, "This value must be sent together with its action."},
    Row{Sentence::kParameterMissing, OutcomeKind::kInvalid, Topic::kSetting, "A value that this action needs is missing."},
    Row{Sentence::kStorageFull, OutcomeKind::kDefective, Topic::kSetting, "This could not be saved: the storage is full."},
    Row{Sentence::kStorageReadOnly, OutcomeKind::kDefective, Topic::kSetting, "This could not be saved: the storage is read-only."},
    Row{Sentence::kStorageFails, OutcomeKind::kDefective, Topic::kSetting, "This could not be saved: the storage reports an error."},
    Row{Sentence::kNoDevice, OutcomeKind::kDefective, Topic::kSetting, "The device did not answer."},
    Row{Sentence::kDeviceBusy, OutcomeKind::kBusy, Topic::kSetting, "The device is busy. Try again in a moment."},
    Row{Sentence::kDeviceRefuses, OutcomeKind::kDenied, Topic::kSetting, "The device has refused this."},
    Row{Sentence::kDoneAlready, OutcomeKind::kDenied, Topic::kForm, "This was done already, and is not done again."},
    Row{Sentence::kOldForm, OutcomeKind::kDenied, Topic::kForm, "This page was out of date, so nothing was done. Look at what is in force now and send it again."},
    Row{Sentence::kChangedElsewhere, OutcomeKind::kDenied, Topic::kForm, "This was changed elsewhere after the page was opened. Send it again to keep what you have entered."},
    Row{Sentence::kFormMoved, OutcomeKind::kDenied, Topic::kForm, "Some of these settings were changed elsewhere after the page was opened."},
    Row{Sentence::kUndoTooLate, OutcomeKind::kDenied, Topic::kUndo, "This can no longer be undone."},
    Row{Sentence::kUndoMoved, OutcomeKind::kDenied, Topic::kUndo, "These settings were changed again since then, so nothing was undone."},
    Row{Sentence::kNoTrial, OutcomeKind::kDenied, Topic::kTrial, "There is nothing to confirm: the settings are in force for good, or the former ones have returned."},
    Row{Sentence::kNotUtf8, OutcomeKind::kInvalid, Topic::kLimit, "Enter text in UTF-8."},
    Row{Sentence::kControls, OutcomeKind::kInvalid, Topic::kLimit, "Leave out the control characters."},
    Row{Sentence::kCharacters, OutcomeKind::kInvalid, Topic::kLimit, "Enter % to % characters."},
    Row{Sentence::kCharactersAtMost, OutcomeKind::kInvalid, Topic::kLimit, "Enter at most % characters."},
    Row{Sentence::kCharactersExactly, OutcomeKind::kInvalid, Topic::kLimit, "Enter % characters."},
    Row{Sentence::kCharacterAtMost, OutcomeKind::kInvalid, Topic::kLimit, "Enter at most 1 character."},
    Row{Sentence::kCharacterExactly, OutcomeKind::kInvalid, Topic::kLimit, "Enter 1 character."},
    Row{Sentence::kNumber, OutcomeKind::kInvalid, Topic::kLimit, "Enter a whole number from % to %."},
    Row{Sentence::kNumberExactly, OutcomeKind::kInvalid, Topic::kLimit, "Enter the number %."},
    Row{Sentence::kChoice, OutcomeKind::kInvalid, Topic::kLimit, "Choose %."},
    Row{Sentence::kMacAddress, OutcomeKind::kInvalid, Topic::kLimit, "Enter a MAC address such as 00:00:5E:00:53:01."},
    Row{Sentence::kNetworkMask, OutcomeKind::kInvalid, Topic::kLimit, "Enter a network mask such as 255.255.255.0."},
    Row{Sentence::kDeviceAddress, OutcomeKind::kInvalid, Topic::kLimit, "Enter the IPv4 address of a device, such as 192.168.1.10."},
    Row{Sentence::kTimeZone, OutcomeKind::kInvalid, Topic::kLimit, "Enter a time zone such as Europe/Berlin."},
    Row{Sentence::kNoUpload, OutcomeKind::kInvalid, Topic::kUpload, "No file has been uploaded."},
    Row{Sentence::kUploadNotReadable, OutcomeKind::kInvalid, Topic::kUpload, "The uploaded file cannot be read."},
    Row{Sentence::kUploadOfOther, OutcomeKind::kDenied, Topic::kUpload, "The uploaded file belongs to another user of the device."},
    Row{Sentence::kUploadLinked, OutcomeKind::kDenied, Topic::kUpload, "The uploaded file has a second name on the device."},
    Row{Sentence::kUploadTooLarge, OutcomeKind::kInvalid, Topic::kUpload, "The uploaded file is too large."},
    Row{Sentence::kTryPasswordAgain, OutcomeKind::kBusy, Topic::kDevicePassword, "Wait two seconds before you try another password."},
    Row{Sentence::kDevicePasswordWrong, OutcomeKind::kDenied, Topic::kDevicePassword, "This is not the password of the device."},
    Row{Sentence::kNoDevicePassword, OutcomeKind::kDenied, Topic::kNewPassword, "The device has no password yet. The first one is made at the device itself."},
    Row{Sentence::kPasswordsDiffer, OutcomeKind::kInvalid, Topic::kNewPassword, "The two new passwords are not the same."},
    Row{Sentence::kCommonPassword, OutcomeKind::kInvalid, Topic::kNewPassword, "This password is among the first that anybody tries."},
    Row{Sentence::kTryAgain, OutcomeKind::kBusy, Topic::kConfiguration, "Wait a moment and try again."},
    Row{Sentence::kPasswordNeeded, OutcomeKind::kInvalid, Topic::kConfiguration, "The file is encrypted: its password is needed."},
    Row{Sentence::kWrongPassword, OutcomeKind::kDenied, Topic::kConfiguration, "The password is wrong, or the file is damaged."},
    Row{Sentence::kUnknownCipher, OutcomeKind::kInvalid, Topic::kConfiguration, "The encrypted file is of a format that this device does not know."},
    Row{Sentence::kNoMemoryToDecrypt, OutcomeKind::kDefective, Topic::kConfiguration, "There is not enough memory to decrypt the file."},
    Row{Sentence::kNoConfiguration, OutcomeKind::kInvalid, Topic::kConfiguration, "The file is not a configuration."},
    Row{Sentence::kNewerFormat, OutcomeKind::kInvalid, Topic::kConfiguration, "The configuration is of a newer format than this device knows."},
    Row{Sentence::kNoModelVersion, OutcomeKind::kInvalid, Topic::kConfiguration, "The configuration does not say which version of the model it is of."},
    Row{Sentence::kOtherDevice, OutcomeKind::kInvalid, Topic::kConfiguration, "The configuration is one of another kind of device."},
    Row{Sentence::kNewerModel, OutcomeKind::kInvalid, Topic::kConfiguration, "The configuration is of a newer version than this device knows."},
    Row{Sentence::kNoSettings, OutcomeKind::kInvalid, Topic::kConfiguration, "The configuration holds no settings."},
    Row{Sentence::kTooManySettings, OutcomeKind::kInvalid, Topic::kConfiguration, "The configuration holds too many settings."},
    Row{Sentence::kTooManyMistakes, OutcomeKind::kInvalid, Topic::kConfiguration, "There are too many mistakes in the configuration."},
    Row{Sentence::kMistakes, OutcomeKind::kInvalid, Topic::kConfiguration, "There are mistakes in the configuration."},
    Row{Sentence::kNotWellFormed, OutcomeKind::kInvalid, Topic::kConfiguration, "The file is not well-formed XML."},
    Row{Sentence::kDocumentType, OutcomeKind::kInvalid, Topic::kConfiguration, "The file holds a document type, which no configuration has."},
    Row{Sentence::kTooDeep, OutcomeKind::kInvalid, Topic::kConfiguration, "There are too many elements inside each other."},
    Row{Sentence::kUnknownElement, OutcomeKind::kInvalid, Topic::kConfiguration, "This element is unknown."},
    Row{Sentence::kUnknownAttribute, OutcomeKind::kInvalid, Topic::kConfiguration, "This attribute is unknown."},
    Row{Sentence::kTextOutside, OutcomeKind::kInvalid, Topic::kConfiguration, "There is text outside of settings."},
    Row{Sentence::kNoSettingNamed, OutcomeKind::kInvalid, Topic::kConfiguration, "This element does not name a setting."},
    Row{Sentence::kNotInConfigurations, OutcomeKind::kInvalid, Topic::kConfiguration, "This setting is not part of a configuration."},
    Row{Sentence::kOfOtherDevice, OutcomeKind::kInvalid, Topic::kConfiguration, "This belongs to the other device alone."},
    Row{Sentence::kNoImage, OutcomeKind::kInvalid, Topic::kFirmware, "This file is no firmware image."},
    Row{Sentence::kUnknownHeader, OutcomeKind::kInvalid, Topic::kFirmware, "The header of the firmware image is of a version that this device does not know."},
    Row{Sentence::kUnknownHeaderLine, OutcomeKind::kInvalid, Topic::kFirmware, "The header of the firmware image holds an unknown line."},
    Row{Sentence::kHeaderLineMissing, OutcomeKind::kInvalid, Topic::kFirmware, "The header of the firmware image lacks a line."},
    Row{Sentence::kHeaderLineTwice, OutcomeKind::kInvalid, Topic::kFirmware, "The header of the firmware image holds a line twice."},
    Row{Sentence::kFaultyHeaderLine, OutcomeKind::kInvalid, Topic::kFirmware, "The header of the firmware image holds a faulty line."},
    Row{Sentence::kHeaderTooLong, OutcomeKind::kInvalid, Topic::kFirmware, "The header of the firmware image is too long."},
    Row{Sentence::kImageForOther, OutcomeKind::kInvalid, Topic::kFirmware, "The firmware image is for another device."},
    Row{Sentence::kImageTooLarge, OutcomeKind::kInvalid, Topic::kFirmware, "The firmware image is too large."},
    Row{Sentence::kImageTooLong, OutcomeKind::kInvalid, Topic::kFirmware, "The firmware image is longer than its header says."},
    Row{Sentence::kImageCut, OutcomeKind::kInvalid, Topic::kFirmware, "The firmware image is cut off."},
    Row{Sentence::kImageDamaged, OutcomeKind::kInvalid, Topic::kFirmware, "The firmware image is damaged: its SHA-256 checksum is another one."},
    Row{Sentence::kNotInstalled, OutcomeKind::kDefective, Topic::kFirmware, "The firmware cannot be installed."},
    Row{Sentence::kNoFirmwareKey, OutcomeKind::kDenied, Topic::kFirmware, "This device has no key that tells whose firmware it may install, and installs none."},
    Row{Sentence::kImageUnsigned, OutcomeKind::kDenied, Topic::kFirmware, "The firmware image is not signed."},
    Row{Sentence::kImageForeign, OutcomeKind::kDenied, Topic::kFirmware, "The firmware image is not signed by the maker of this device."},
    Row{Sentence::kOlderFirmware, OutcomeKind::kDenied, Topic::kFirmware, "This firmware is older than the installed one. It is installed only if you confirm that."},
    Row{Sentence::kInstalling, OutcomeKind::kBusy, Topic::kRestart, "A firmware image is being installed."},
    Row{Sentence::kEventStarted, OutcomeKind::kSuccess, Topic::kEvent, "The device started with this firmware:"},
    Row{Sentence::kEventSetting, OutcomeKind::kSuccess, Topic::kEvent, "This setting was changed:"},
    Row{Sentence::kEventSettings, OutcomeKind::kSuccess, Topic::kEvent, "As many further settings were changed:"},
    Row{Sentence::kEventRestored, OutcomeKind::kSuccess, Topic::kEvent, "A configuration was restored."},
    Row{Sentence::kEventConfigPassword, OutcomeKind::kSuccess, Topic::kEvent, "The password for configuration files changed."},
    Row{Sentence::kEventReset, OutcomeKind::kSuccess, Topic::kEvent, "All settings have their factory values again."},
    Row{Sentence::kEventSettingsNewer, OutcomeKind::kSuccess, Topic::kEvent, "The stored settings are of newer firmware and are kept for it. This firmware began with factory settings."},
    Row{Sentence::kEventSettingsDamaged, OutcomeKind::kSuccess, Topic::kEvent, "The stored settings were damaged. The device began with factory settings."},
    Row{Sentence::kEventPassword, OutcomeKind::kSuccess, Topic::kEvent, "The password of the device was changed."},
    Row{Sentence::kEventImageRefused, OutcomeKind::kSuccess, Topic::kEvent, "A firmware image was refused:"},
    Row{Sentence::kEventImageChecked, OutcomeKind::kSuccess, Topic::kEvent, "This firmware was uploaded and checked:"},
    Row{Sentence::kEventInstalling, OutcomeKind::kSuccess, Topic::kEvent, "The installation of this firmware began:"},
    Row{Sentence::kEventInstalled, OutcomeKind::kSuccess, Topic::kEvent, "This firmware is installed and runs after a restart:"},
    Row{Sentence::kEventNotInstalled, OutcomeKind::kSuccess, Topic::kEvent, "The installation of firmware failed:"},
    Row{Sentence::kEventTrial, OutcomeKind::kSuccess, Topic::kEvent, "A change of the address is on trial. Without a confirmation the former one returns after this many seconds:"},
    Row{Sentence::kEventTrialKept, OutcomeKind::kSuccess, Topic::kEvent, "The change of the address was confirmed."},
    Row{Sentence::kEventTrialOver, OutcomeKind::kSuccess, Topic::kEvent, "The change of the address was not confirmed. The former one is in force again."},
    Row{Sentence::kEventTrialEnded, OutcomeKind::kSuccess, Topic::kEvent, "The change of the address was taken back. The former one is in force again."},
};
// clang-format on

constexpr bool IsInOrder() {
  for (std::size_t i = 0; i < kRows.size(); ++i) {
    if (kRows[i].sentence != static_cast<Sentence>(i)) return false;
  }
  return true;
}
static_assert(IsInOrder(), "a row is looked up by its sentence");

constexpr bool ArePlain() {
  for (const Row& row : kRows) {
    if (std::string_view(row.text).find_first_of("<>&\"'") != std::string_view::npos) return false;
  }
  return true;
}
static_assert(ArePlain(), "no template has to escape a sentence");

const Row& RowOf(Sentence sentence) {
  return kRows[static_cast<std::size_t>(sentence)];
}

}  // namespace

OutcomeKind Sentences::KindOf(Sentence sentence) {
  return RowOf(sentence).kind;
}

std::string Sentences::TextOf(Sentence sentence, std::initializer_list<std::string_view> limits) {
  std::string text = RowOf(sentence).text;
  std::size_t at = 0;
  for (const std::string_view limit : limits) {
    at = text.find('%', at);
    text.replace(at, 1, limit);
    at += limit.size();
  }
  return text;
}

std::vector<std::string> Sentences::OfTopic(Topic topic) {
  std::vector<std::string> texts;
  for (const Row& row : kRows) {
    if (row.topic == topic) texts.emplace_back(row.text);
  }
  return texts;
}
