-- The RIFA command port (TCP 1997) for Wireshark and tshark, both directions:
-- the header, the CameraRequest prefix and each command's own fields, and
-- the 480-byte result block field by field.
--
--   tshark -X lua_script:tools/wireshark/rifa.lua -i lo -f "tcp port 1997" -V
--
-- or copy the file into Wireshark's personal Lua plugins folder. Field names
-- are those vantelctl prints (rifa.first_width, rifa.preset_number, ...);
-- the password is shown as present or empty, never as text.
--
-- Every offset, width and code sits in `wire` and nowhere else. Keep it a
-- plain table constructor: the wire layout test evaluates it on its own and
-- compares it with the daemon's constants.
local wire = {
  port = 1997,
  magic = "RIFA",
  sizes = { header = 16, payload = 1024, block = 480 },
  header = {
    { "magic", 0, 4 }, { "size", 4, 4 }, { "major", 8, 4 }, { "minor", 12, 4 },
  },
  -- `block`: the request and its reply carry the result block.
  commands = {
    { 0x0b060001, "RIFA_CMD_CAMERA_SETTING", block = true },
    { 0x0b060003, "RIFA_CMD_NET_CODEC", block = true },
    { 0x0b060004, "RIFA_CMD_STREAM_INFO", block = true },
    { 0x0b060005, "RIFA_CMD_PTZ_MOVE" },
    { 0x0b060006, "RIFA_CMD_PTZ_STOP" },
    { 0x0b060007, "RIFA_CMD_PTZ_PRESET" },
    { 0x0b060008, "RIFA_CMD_PTZ_GOTOPRESET" },
    { 0x0b060009, "RIFA_CMD_PTZ_REMOVE_PRESET" },
    { 0x0b060020, "RIFA_CMD_REBOOT" },
    { 0x0b060030, "RIFA_CMD_MULTIUSER" },
  },
  replies = {
    { 0x0b061001, "RIFA_RPL_RESULT" },
    { 0x0b061002, "RIFA_RPL_SETTING_OK" },
    { 0x0b061003, "RIFA_RPL_SETTING_FAIL" },
    { 0x0b061004, "RIFA_RPL_CODEC_FAIL" },
  },
  -- CameraRequest: the start of every request that carries no block.
  prefix = {
    { "camera_ip", 0, 4, "ipv4" },
    { "camera_port", 4, 4, "s32" },
    { "user_name", 8, 32, "text" },
    { "password", 40, 32, "text" },
  },
  -- Each command's own fields after the prefix.
  request = {
    RIFA_CMD_PTZ_MOVE = { { "ptz_direction", 72, 4, "s32" }, { "ptz_zoom", 80, 4, "s32" } },
    RIFA_CMD_PTZ_PRESET = { { "preset_number", 72, 4, "s32" } },
    RIFA_CMD_PTZ_GOTOPRESET = { { "preset_number", 72, 4, "s32" } },
    RIFA_CMD_PTZ_REMOVE_PRESET = { { "preset_number", 72, 4, "s32" } },
    RIFA_CMD_MULTIUSER = { { "user_mode", 72, 4, "s32" } },
  },
  -- The result block. range: lower and upper, 16 bits each; quad: four
  -- 16-bit values; options: twenty 16-bit width, height pairs.
  block = {
    { "manufacturer", 4, 40, "text" },
    { "model", 44, 40, "text" },
    { "camera_ip", 84, 4, "ipv4" },
    { "camera_port", 88, 4, "s32" },
    { "status", 92, 4, "s32" },
    { "user_name", 96, 32, "text" },
    { "password", 128, 32, "text" },
    { "first_uri", 160, 50, "uri" },
    { "second_uri", 210, 50, "uri" },
    { "first_flag", 260, 1, "u8" },
    { "second_flag", 261, 1, "u8" },
    { "first_width", 262, 2, "s16" },
    { "first_height", 264, 2, "s16" },
    { "second_width", 266, 2, "s16" },
    { "second_height", 268, 2, "s16" },
    { "setup_state", 270, 1, "u8" },
    { "first_codec", 271, 1, "u8" },
    { "second_codec", 272, 1, "u8" },
    { "ptz_present", 274, 1, "u8" },
    { "first_fps", 276, 1, "u8" },
    { "second_fps", 277, 1, "u8" },
    { "first_quality", 278, 2, "s16" },
    { "second_quality", 280, 2, "s16" },
    { "first_bitrate", 282, 2, "s16" },
    { "second_bitrate", 284, 2, "s16" },
    { "registration", 286, 8, "quad" },
    { "first_fps_range", 294, 4, "range" },
    { "second_fps_range", 298, 4, "range" },
    { "first_quality_range", 302, 4, "range" },
    { "second_quality_range", 306, 4, "range" },
    { "first_bitrate_range", 310, 4, "range" },
    { "second_bitrate_range", 314, 4, "range" },
    { "first_options", 318, 80, "options" },
    { "second_options", 398, 80, "options" },
  },
  codecs = { [0] = "unknown", "JPEG", "H264", "MPEG4" },
}

local HEADER, PAYLOAD, BLOCK = wire.sizes.header, wire.sizes.payload, wire.sizes.block
-- The header's fields by name, at `start` (0 by default) in `tvb`.
local header_fields = {}
for _, f in ipairs(wire.header) do header_fields[f[1]] = f end
local function header_field(tvb, name, start)
  local f = header_fields[name]
  return tvb((start or 0) + f[2], f[3])
end

local command_names, command_of, reply_names = {}, {}, {}
for _, c in ipairs(wire.commands) do
  command_names[c[1]] = c[2]
  command_of[c[1]] = c
  -- Header-only commands answer with their own major as the reply code.
  reply_names[c[1]] = c[2] .. " (echo)"
end
for _, r in ipairs(wire.replies) do reply_names[r[1]] = r[2] end

local value_names = {
  first_codec = wire.codecs, second_codec = wire.codecs,
  ptz_present = { [0] = "no", [1] = "yes" },
  ptz_direction = { [0] = "none", "up", "right", "down", "left", "up and right", "down and right",
                    "down and left", "up and left" },
}
-- Codes whose every other value means one thing, and the resolution class
-- that registration writes (0 also when a query filled the stream).
local resolution_class = { [2] = "640x480 or 640x576", [3] = "720x480 or 720x576", [4] = "1280x720", [5] = "1920x1080" }
local describe = {
  ptz_zoom = function(v) return v == 9 and "zoom speed up" or "zoom speed down" end,
  user_mode = function(v) return v == 1 and "single user" or "multi user" end,
  first_flag = function(v) return resolution_class[v] end,
  second_flag = function(v) return resolution_class[v] end,
}

local rifa = Proto("rifa", "RIFA command port")
local hf = {
  magic = ProtoField.string("rifa.magic", "magic"),
  size = ProtoField.int32("rifa.size", "size"),
  major = ProtoField.uint32("rifa.major", "major", base.HEX, command_names),
  minor = ProtoField.uint32("rifa.minor", "minor", base.HEX),
  reply_code = ProtoField.uint32("rifa.reply_code", "reply_code", base.HEX, reply_names),
  payload = ProtoField.bytes("rifa.payload", "payload"),
}
local makers = {
  u8 = function(abbr, name) return ProtoField.uint8(abbr, name, base.DEC, value_names[name]) end,
  s16 = function(abbr, name) return ProtoField.int16(abbr, name, base.DEC, value_names[name]) end,
  s32 = function(abbr, name) return ProtoField.int32(abbr, name, base.DEC, value_names[name]) end,
  ipv4 = function(abbr, name) return ProtoField.ipv4(abbr, name) end,
}
local function declare(list)
  for _, f in ipairs(list) do
    local name, kind = f[1], f[4]
    if hf[name] == nil then
      local abbr = "rifa." .. name
      if name == "password" then
        hf[name] = ProtoField.bool(abbr, name, base.NONE, { "present (not shown)", "empty" })
      else
        hf[name] = (makers[kind] or ProtoField.string)(abbr, name)
      end
    end
  end
end
declare(wire.prefix)
declare(wire.block)
for _, fields in pairs(wire.request) do declare(fields) end
local hf_list = {}
for _, field in pairs(hf) do hf_list[#hf_list + 1] = field end
rifa.fields = hf_list

local ex = {
  bad_magic = ProtoExpert.new("rifa.bad_magic", "Not a RIFA header: the daemon skips these " .. HEADER .. " bytes",
                              expert.group.MALFORMED, expert.severity.WARN),
  oversize = ProtoExpert.new("rifa.oversize", "Size over the " .. PAYLOAD .. "-byte payload buffer",
                             expert.group.PROTOCOL, expert.severity.WARN),
  short_payload = ProtoExpert.new("rifa.short_payload", "Short payload",
                                  expert.group.MALFORMED, expert.severity.WARN),
  no_payload = ProtoExpert.new("rifa.no_payload", "Request without payload: the daemon waits for another header",
                               expert.group.PROTOCOL, expert.severity.NOTE),
}
rifa.experts = { ex.bad_magic, ex.oversize, ex.short_payload, ex.no_payload }

-- Fixed text as vantelctl prints it: up to the first NUL, with quotes,
-- backslashes and unprintable bytes escaped.
local function printable(raw)
  local cut = raw:find("\0", 1, true)
  if cut then raw = raw:sub(1, cut - 1) end
  return (raw:gsub('[%c"\\\128-\255]', function(c)
    if c == '"' or c == "\\" then return "\\" .. c end
    return string.format("\\x%02x", c:byte())
  end))
end

local function s16_list(range, count)
  local values = {}
  for i = 0, count - 1 do values[#values + 1] = tostring(range(2 * i, 2):int()) end
  return table.concat(values, " ")
end

-- The resolution table, trailing empty entries left out.
local function options_text(range)
  local used, entries = 0, {}
  for i = 0, range:len() / 4 - 1 do
    local w, h = range(4 * i, 2):int(), range(4 * i + 2, 2):int()
    entries[i + 1] = w .. "x" .. h
    if w ~= 0 or h ~= 0 then used = i + 1 end
  end
  return table.concat(entries, " ", 1, used)
end

-- Adds the fields of `list` that lie whole inside `tvb`, offsets relative to
-- `start`. Returns the end of the last field.
local function add_fields(tree, tvb, start, list)
  local last = 0
  for _, f in ipairs(list) do
    local name, offset, width, kind = f[1], start + f[2], f[3], f[4]
    last = math.max(last, f[2] + width)
    if offset + width <= tvb:len() then
      local range = tvb(offset, width)
      if name == "password" then
        tree:add(hf.password, range, range(0, 1):uint() ~= 0)
      elseif kind == "text" or kind == "uri" then
        tree:add(hf[name], range, printable(range:raw()))
      elseif kind == "range" or kind == "quad" then
        tree:add(hf[name], range, s16_list(range, width / 2))
      elseif kind == "options" then
        tree:add(hf[name], range, options_text(range))
      else
        local item = tree:add(hf[name], range)
        local meaning = describe[name] and describe[name](range:int())
        if meaning then item:append_text(" (" .. meaning .. ")") end
      end
    end
  end
  return last
end

local function is_request(pinfo)
  local server = pinfo.match_uint
  if server ~= pinfo.src_port and server ~= pinfo.dst_port then server = wire.port end
  return pinfo.dst_port == server
end

-- The daemon reads a 16-byte header, skips it when the magic is wrong or
-- the size is not positive, and reads at most 1024 payload bytes.
local function message_length(tvb, pinfo, offset)
  if tvb:len() - offset < HEADER or header_field(tvb, "magic", offset):raw() ~= wire.magic then return HEADER end
  local size = header_field(tvb, "size", offset):int()
  if size <= 0 then return HEADER end
  return HEADER + math.min(size, PAYLOAD)
end

-- One frame may carry several messages: the first sets the columns, the
-- others add to them.
local function summary(pinfo, text)
  if tostring(pinfo.cols.protocol) == "RIFA" then
    -- A run of skipped headers is said once.
    local info = tostring(pinfo.cols.info)
    if info:sub(-#text) ~= text then pinfo.cols.info:append("; " .. text) end
  else
    pinfo.cols.protocol = "RIFA"
    pinfo.cols.info = text
  end
end

local function dissect_payload(tree, tvb, request, command, declared)
  local available = tvb:len() - HEADER
  if available < declared then
    tree:add_proto_expert_info(ex.short_payload, string.format("Payload cut short: %d of %d bytes", available, declared))
    if available <= 0 then return end
  end
  local payload, needed = tvb(HEADER, math.min(available, declared)), 0
  if not request or (command and command.block) then
    tree = tree:add(rifa, payload, "result block")
    add_fields(tree, tvb, HEADER, wire.block)
    needed = BLOCK
  elseif command then
    tree = tree:add(rifa, payload, "CameraRequest")
    needed = math.max(add_fields(tree, tvb, HEADER, wire.prefix),
                      add_fields(tree, tvb, HEADER, wire.request[command[2]] or {}))
  else
    tree:add(hf.payload, payload)
  end
  if declared < needed then
    tree:add_proto_expert_info(ex.short_payload,
      string.format("Payload of %d bytes, the fields need %d: the daemon reads the rest as zero", declared, needed))
  end
end

local function dissect_message(tvb, pinfo, tree)
  local request = is_request(pinfo)
  local direction = request and "request" or "reply"
  -- With reassembly off, or a capture cut at its snapshot length, a message
  -- may end anywhere, even before its first byte.
  if tvb:len() < HEADER then
    local item = tvb:len() > 0 and tree:add(rifa, tvb()) or tree:add(rifa)
    item:add_proto_expert_info(ex.short_payload, string.format("Header cut short: %d of %d bytes", tvb:len(), HEADER))
    summary(pinfo, "cut short " .. direction)
    return tvb:len()
  end
  local item = tree:add(rifa, tvb())
  local magic = header_field(tvb, "magic")
  item:add(hf.magic, magic, printable(magic:raw()))
  if magic:raw() ~= wire.magic then
    item:add_proto_expert_info(ex.bad_magic)
    local text = string.format("not RIFA: %d bytes skipped", HEADER)
    item:append_text(", " .. text)
    summary(pinfo, text)
    return HEADER
  end
  local size, major, minor = header_field(tvb, "size"), header_field(tvb, "major"), header_field(tvb, "minor")
  local size_item, major_item = item:add(hf.size, size), item:add(hf.major, major)
  size, major = size:int(), major:uint()
  local command = command_of[major]
  if not command then major_item:append_text(request and " (unknown: dummy reply)" or " (dummy reply)") end
  local text = (command and command[2] or (request and "unknown command" or "dummy")) .. " " .. direction
  local minor_item = item:add(request and hf.minor or hf.reply_code, minor)
  minor = minor:uint()
  if request and command and command[2] == "RIFA_CMD_NET_CODEC" then
    minor_item:append_text(minor == major and " (explicit variant)" or " (list variant)")
  elseif not request and command and minor == major then
    text = text .. " (echo)"
  elseif not request and reply_names[minor] then
    text = text .. " " .. reply_names[minor]
  end
  item:append_text(", " .. text)
  summary(pinfo, text)
  if size > PAYLOAD then
    size_item:add_proto_expert_info(ex.oversize,
      string.format("Size %d is over the %d-byte payload buffer: the daemon reads %d bytes", size, PAYLOAD, PAYLOAD))
  end
  if size <= 0 then
    if request then size_item:add_proto_expert_info(ex.no_payload) end
    return HEADER
  end
  dissect_payload(item, tvb, request, command, math.min(size, PAYLOAD))
  return tvb:len()
end

function rifa.dissector(tvb, pinfo, tree)
  if tvb:len() == tvb:reported_len() then
    dissect_tcp_pdus(tvb, tree, HEADER, message_length, dissect_message, true)
    return tvb:len()
  end
  -- A segment cut at the capture's snapshot length cannot be reassembled:
  -- the messages it holds are shown as far as they were captured.
  local offset = 0
  while offset < tvb:len() do
    local length = math.min(message_length(tvb, pinfo, offset), tvb:len() - offset)
    dissect_message(tvb(offset, length):tvb(), pinfo, tree)
    offset = offset + length
  end
  return tvb:len()
end

DissectorTable.get("tcp.port"):add(wire.port, rifa)
