-- SPDX-License-Identifier: MIT
--
-- What lighttpd does for one client: compares ten passwords a second, and a hundred at once for a page that
-- loads many things; and serves some requests at the same time, so that hundreds whose bodies come slowly
-- can't all be there at last. The rule to know: each client is counted by itself, so that nobody can use up
-- what another one has. lighttpd runs this script before and after each request.
local part_seconds = 10
local guesses_per_part = 100
local requests_at_once = 32
local forgotten_after_seconds = 15 -- a request whose client has gone has no end

local r = lighty.r
-- The script runs anew each time; this table stays.
local state = package.loaded["vistel.clients"]
if state == nil then
  state = { guesses = {}, running = {} }
  package.loaded["vistel.clients"] = state
end
local client = r.req_attr["request.remote-addr"]
local now = os.time()

-- The times when the client's requests began, the oldest first.
local running = state.running[client] or {}
local counted = r.req_env["VISTEL_COUNTED"] ~= nil

if r.resp_header["X-Content-Type-Options"] ~= nil then -- the configuration gives it to each response
  if counted then
    table.remove(running, 1)
    if #running == 0 then state.running[client] = nil end
  end
  return 0
end

if r.req_header["Authorization"] ~= nil then
  local part = math.floor(now / part_seconds)
  if state.part ~= part then
    state.part, state.guesses = part, {}
  end
  local count = (state.guesses[client] or 0) + 1
  state.guesses[client] = count
  if count > guesses_per_part then
    r.resp_header["Retry-After"] = tostring(part_seconds)
    return 429
  end
end

if not counted then -- a rewritten request comes here twice
  while #running > 0 and running[1] < now - forgotten_after_seconds do table.remove(running, 1) end
  if #running >= requests_at_once then
    r.resp_header["Retry-After"] = "1"
    return 503
  end
  table.insert(running, now)
  state.running[client] = running
  r.req_env["VISTEL_COUNTED"] = "1"
end
return 0
