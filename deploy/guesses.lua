-- SPDX-License-Identifier: MIT
--
-- Lets lighttpd compare few passwords for one client: ten a second, and a hundred at once for a page that
-- loads many things. The rule to know: the time is divided into parts, and each client is counted in each
-- part by itself, so that nobody can use up what another one has.
local part_seconds = 10
local guesses_per_part = 100

if lighty.r.req_header["Authorization"] == nil then
  return 0
end
-- The script runs anew for each request; this table stays.
local counts = package.loaded["vistel.guesses"]
local part = math.floor(os.time() / part_seconds)
if counts == nil or counts.part ~= part then
  counts = { part = part, of = {} }
  package.loaded["vistel.guesses"] = counts
end
local client = lighty.r.req_attr["request.remote-addr"]
local count = (counts.of[client] or 0) + 1
counts.of[client] = count
if count > guesses_per_part then
  lighty.r.resp_header["Retry-After"] = tostring(part_seconds)
  return 429
end
return 0
