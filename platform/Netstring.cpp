// SPDX-License-Identifier: MIT
#include "platform/Netstring.h"

#include <cstdint>

#include "base/Number.h"

void Netstring::Append(std::string& out, std::string_view bytes) {
  out.append(std::to_string(bytes.size())).append(":").append(bytes).append(",");
}

Netstring::Piece Netstring::Read(std::string_view text, std::size_t maxBytes) {
  constexpr Piece kMalformedPiece = {Status::kMalformed, {}, 0};
  std::string_view rest = text;
  std::uint32_t length = 0;
  if (text.empty()) return {Status::kPartial, {}, 1};
  if (!TakeDecimal(rest, length) || length > maxBytes) return kMalformedPiece;
  // More digits may come.
  if (rest.empty()) return {Status::kPartial, {}, text.size() + 1};
  if (rest.front() != ':') return kMalformedPiece;
  rest.remove_prefix(1);
  const std::size_t whole = text.size() - rest.size() + length + 1;
  if (rest.size() <= length) return {Status::kPartial, {}, whole};
  if (rest[length] != ',') return kMalformedPiece;
  return {Status::kWhole, rest.substr(0, length), whole};
}

bool Netstring::TakeNumber(std::string_view& text, unsigned& number) {
  std::string_view rest = text;
  unsigned value = 0;
  if (!TakeDecimal(rest, value) || rest.empty() || rest.front() != ':') return false;
  number = value;
  text = rest.substr(1);
  return true;
}
