-- Prints the `wire` table of the dissector named by this script's argument,
-- one line per offset, size or code, in the form the wire layout test builds
-- from the daemon's constants. The table is evaluated on its own, without
-- registering the dissector.
local text = assert(io.open((...))):read("*a")
local wire = assert(load("return " .. text:match("\nlocal wire = (%b{})"), "wire", "t", {}))()
local out = {}
local function line(...) out[#out + 1] = table.concat({ ... }, " ") end
line("port", wire.port)
line("magic", wire.magic)
for name, size in pairs(wire.sizes) do line("size", name, size) end
for _, f in ipairs(wire.header) do line("header", f[1], f[2], f[3]) end
for _, c in ipairs(wire.commands) do
  line("command", c[2], string.format("0x%08x", c[1]), c.block and "block" or "header-only")
end
for _, r in ipairs(wire.replies) do line("reply", r[2], string.format("0x%08x", r[1])) end
for _, f in ipairs(wire.prefix) do line("prefix", f[1], f[2], f[3], f[4]) end
for command, fields in pairs(wire.request) do
  for _, f in ipairs(fields) do line("request", command, f[1], f[2], f[3], f[4]) end
end
for _, f in ipairs(wire.block) do line("block", f[1], f[2], f[3], f[4]) end
for code, name in pairs(wire.codecs) do line("codec", code, name) end
io.stdout:write(table.concat(out, "\n"), "\n")
