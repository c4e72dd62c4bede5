// SPDX-License-Identifier: MIT
//
// The program's side of CGI (RFC 3875): reads one request from the environment and standard input
// into the variable store, picks the language, and writes response headers and error pages.
//
// This folder is the only reader of the request's environment and of standard input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "request/MessageCatalogue.h"

class UploadOutput;
class WGLVariables;

class RequestHandler {
 public:
  // `variables` receives the request's fields and must outlive the handler; null stores nothing.
  explicit RequestHandler(WGLVariables* variables);
  virtual ~RequestHandler();
  RequestHandler(const RequestHandler&) = delete;
  RequestHandler& operator=(const RequestHandler&) = delete;

  // Reads the request; call it once. Returns false when it refused the request: it has then written
  // a complete error page, and the fields read before stay in the store.
  bool Parse();

  // The fields that one request may have, and the bytes of all their names and values together:
  // far above those of any page. A request with more is refused.
  static constexpr std::size_t kMaxFields = 32768;
  static constexpr std::size_t kMaxFieldBytes = std::size_t{2} << 20;

  // Stores the fields of an application/x-www-form-urlencoded text in their order, as far as the
  // limits allow. A name ends at the next "=", even when an "&" comes first.
  void ParseQueryString(const std::string& text);

  // The field of `text[0, length)` that starts at `position` and ends before `delimiter` or at
  // `length`, which is at most the text's size. Moves `position` one byte past that end. When
  // `position` is at or past `length` already, it stays and the result is "".
  std::string ParseQueryStringPart(const std::string& text, std::size_t& position,
                                   std::size_t length, const std::string& delimiter) const;

  // Decodes "+" and "%XX". Any two bytes after a "%" count as digits: letters after F continue from
  // 16, other bytes are 0, and the result is taken modulo 256. A "%" with fewer than two bytes
  // after it stays as it is.
  static std::string Unescape(std::string text);

  // Reads a multipart body from standard input. Stores fields in their order. Writes the content of
  // a file to gUploadFile, see UploadFile, without a variable. The last file stays, or none if that
  // one is empty or cut off. Returns 1 when the body was well formed up to its closing delimiter,
  // after which nothing is read; otherwise 0, with the fields before the error stored.
  int ParseUploadData(const std::string& boundary);

  // The language of the response, a two-letter code (ISO 639-1): the variable "_lang", if it has a
  // catalogue; else the first entry of HTTP_ACCEPT_LANGUAGE that has one; else kDefaultLanguage,
  // even without a catalogue.
  static constexpr char kDefaultLanguage[] = "en";
  std::string DetermineLanguage(const std::string& localeDir, const std::string& textDomain) const;

  // The catalogue of the language that was asked about last; kDamaged when there is none.
  CatalogueState Catalogue() const { return catalogue_; }

  // Whether `language` is two letters and has a compiled catalogue of that domain: a file that can
  // be opened and isn't a damaged catalogue.
  bool IsValidLanguage(const std::string& language, const std::string& localeDir,
                       const std::string& textDomain) const;

  // Writes the whole header block and flushes it. Writes no Status line, so that the web server's
  // default applies to every response.
  static void WriteHeaders(const std::string& contentType);
  static void WriteHeaders(const std::string& contentType, const std::string& contentDisposition);

  // Writes a text/plain response of one line, formatted as by printf.
  static void WriteErrorPage(const char* format, ...) __attribute__((format(printf, 1, 2)));

 private:
  // A form body with an announced length of less than 1 or more than this is refused.
  static constexpr std::uint32_t kMaxFormBytes = 8192;

  struct Upload;  // a multipart body while it is being read

  // Stores a field. Returns false, now and for all further fields, when there are too many.
  bool Store(const std::string& name, const std::string& value);
  bool HasTooManyFields() const { return fields_ > kMaxFields || fieldBytes_ > kMaxFieldBytes; }
  static constexpr char kTooManyFields[] = "Too many or too large fields";

  // Stores the fields of the text; refuses the request if there are too many.
  bool ParseFields(const std::string& text);
  bool ParseForm();
  bool ParseMultipart(const std::string& boundary);

  // Reads a part's header block and its empty line. Returns false when there is no empty line
  // within the limit. A name that is missing in the block is "".
  bool ParseUploadDataHeader(Upload& upload, std::string& name, std::string& fileName) const;

  // Copies up to the next delimiter, with or without a line break before it, and reads the
  // delimiter too. Drops content beyond `limit` bytes. Returns false when the input ends before the
  // delimiter.
  bool ParseUploadDataPart(Upload& upload, const std::string& boundary, UploadOutput& output,
                           std::size_t limit, bool lineBreak) const;

  // The same, into the upload file.
  bool ParseUploadDataFile(Upload& upload, const std::string& boundary) const;

  std::string method_;
  std::string contentType_;
  std::uint32_t contentLength_;  // a negative CONTENT_LENGTH wraps
  WGLVariables* variables_;
  std::size_t fields_ = 0;      // and those that were refused
  std::size_t fieldBytes_ = 0;  // of their names and values
  mutable CatalogueState catalogue_ = CatalogueState::kDamaged;
};
