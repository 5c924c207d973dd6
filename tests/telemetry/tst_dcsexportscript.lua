-- Runs the DCS export script against stubbed export functions and a stubbed LuaSocket.
-- Usage: lua5.1 (or lua5.4) tst_dcsexportscript.lua <path to VortaneQuillar.lua>
local scriptPath = assert(arg[1], "script path expected")

local failures, checks = 0, 0
local function check(condition, message)
    checks = checks + 1
    if not condition then
        failures = failures + 1
        io.stderr:write("FAIL: " .. message .. "\n")
    end
end
local function equal(actual, expected, message)
    check(actual == expected,
        message .. ": expected " .. tostring(expected) .. ", got " .. tostring(actual))
end

-- A fresh Lua state per case: clears the globals the script and the stubs set.
local pristine = {}
for k, v in pairs(_G) do pristine[k] = v end
local function reset()
    for k in pairs(_G) do
        if pristine[k] == nil then _G[k] = nil end
    end
    package.loaded.socket = nil
end

-- The stubbed LuaSocket: records every call on every socket.
local sockets
local function installSocket()
    sockets = {}
    package.preload.socket = function()
        return {
            udp = function()
                local s = { calls = {}, sent = {} }
                function s:settimeout(t) table.insert(self.calls, "settimeout " .. tostring(t)) end
                function s:setpeername(h, p) table.insert(self.calls, "setpeername " .. h .. " " .. tostring(p)) end
                function s:send(text) table.insert(self.calls, "send"); table.insert(self.sent, text) end
                function s:close() table.insert(self.calls, "close") end
                table.insert(sockets, s)
                return s
            end,
        }
    end
end

local modelTime
local function installAircraft()
    modelTime = 10
    function LoGetModelTime() return modelTime end
    function LoGetSelfData() return { Name = "F-16C_50" } end
    function LoGetIndicatedAirSpeed() return 100 end -- m/s
    function LoGetVerticalVelocity() return -2.5 end
    function LoGetAngleOfAttack() return 4.25 end
    function LoGetAccelerationUnits() return { x = 0, y = 1.5, z = 0 } end
    function LoGetMechInfo()
        return { gear = { value = 1 }, speedbrakes = { value = 0.5 }, flaps = { value = 0.25 } }
    end
    function LoGetEngineInfo() return { RPM = { left = 80, right = 85.5 } } end
    function LoGetAircraftDrawArgumentValue(n)
        if n == 4 then return 0.3 end
        return 0
    end
end

-- Case 1: the exact datagram, sent on a non-blocking socket to the right port.
reset(); installSocket(); installAircraft()
dofile(scriptPath)
LuaExportStart()
equal(#sockets, 1, "one socket")
local s = sockets[1]
equal(s.calls[1], "settimeout 0", "non-blocking before anything else")
equal(s.calls[2], "setpeername 127.0.0.1 29778", "peer")
LuaExportAfterNextFrame()
equal(s.sent[1], "F-16C_50;360.000;-2.500;4.250;1.500;1.000;0.500;0.250;85.500;1", "datagram")

-- Case 2: the rate is bounded to one datagram per 20 ms of model time.
for _ = 1, 5 do LuaExportAfterNextFrame() end
equal(#s.sent, 1, "frames within 20 ms send nothing more")
modelTime = 10.019
LuaExportAfterNextFrame()
equal(#s.sent, 1, "19 ms later still nothing")
modelTime = 10.020
LuaExportAfterNextFrame()
equal(#s.sent, 2, "20 ms later the next datagram")
local sentBefore = #s.sent
for i = 1, 100 do -- one second of a 100 fps game
    modelTime = 10.020 + i * 0.01
    LuaExportAfterNextFrame()
end
check(#s.sent - sentBefore <= 51, "at most about 50 datagrams a second, got " .. (#s.sent - sentBefore))
check(#s.sent - sentBefore >= 49, "about 50 datagrams a second, got " .. (#s.sent - sentBefore))
modelTime = 0 -- a new mission restarts the model time
local beforeRestart = #s.sent
LuaExportAfterNextFrame()
equal(#s.sent, beforeRestart + 1, "a restarted model time sends again")
LuaExportStop()
equal(s.calls[#s.calls], "close", "stop closes the socket")
LuaExportAfterNextFrame()
equal(#s.sent, beforeRestart + 1, "nothing is sent after stop")

-- Case 3: missing values do not fail the script and are sent as 0.
reset(); installSocket(); installAircraft()
LoGetIndicatedAirSpeed = nil
LoGetVerticalVelocity = function() return nil end
LoGetAngleOfAttack = function() error("not available on this module") end
LoGetAccelerationUnits = function() return {} end
LoGetMechInfo = function() return { gear = {} } end
LoGetEngineInfo = function() return { RPM = { left = 0 / 0 } } end
LoGetAircraftDrawArgumentValue = function() return nil end
dofile(scriptPath)
LuaExportStart()
LuaExportAfterNextFrame()
equal(sockets[1].sent[1], "F-16C_50;0.000;0.000;0.000;0.000;0.000;0.000;0.000;0.000;0",
    "datagram with nothing known but the aircraft")

-- Case 3b: without an own aircraft (slot screen, spectator) nothing is sent at all, whatever else the
-- game answers; the next aircraft is then sent under its own name.
reset(); installSocket(); installAircraft()
local selfData = nil
LoGetSelfData = function() return selfData end
dofile(scriptPath)
LuaExportStart()
for i = 0, 60 do -- over a second of frames with no aircraft, then without a name, then with an empty one
    modelTime = 10 + i * 0.02
    if i == 20 then selfData = {} end
    if i == 40 then selfData = { Name = "" } end
    LuaExportAfterNextFrame()
end
equal(#sockets[1].sent, 0, "nothing sent without an own aircraft")
LoGetSelfData = function() error("no aircraft") end
modelTime = 12
LuaExportAfterNextFrame()
equal(#sockets[1].sent, 0, "nothing sent when the own aircraft cannot be read")
LoGetSelfData = function() return { Name = "A-10C_2" } end
modelTime = 12.02
LuaExportAfterNextFrame()
equal(sockets[1].sent[1], "A-10C_2;360.000;-2.500;4.250;1.500;1.000;0.500;0.250;85.500;1",
    "the next aircraft is sent under its own name")
LoGetSelfData = function() return nil end
modelTime = 12.04
LuaExportAfterNextFrame()
equal(#sockets[1].sent, 1, "leaving the aircraft stops the stream")

-- Case 4: a ";" in an aircraft name cannot shift the fields.
reset(); installSocket(); installAircraft()
LoGetSelfData = function() return { Name = "Odd;Name" } end
dofile(scriptPath)
LuaExportStart()
LuaExportAfterNextFrame()
equal(sockets[1].sent[1]:match("^[^;]*"), "Odd_Name", "separator replaced in the name")
local fields = 0
for _ in (sockets[1].sent[1] .. ";"):gmatch("([^;]*);") do fields = fields + 1 end
equal(fields, 10, "ten fields")

-- Case 5: the other exporters' callbacks are kept and called, once each, in every case.
reset(); installSocket(); installAircraft()
local calls = {}
function LuaExportStart() table.insert(calls, "start") end
function LuaExportAfterNextFrame() table.insert(calls, "frame") end
function LuaExportStop() table.insert(calls, "stop") end
dofile(scriptPath)
dofile(scriptPath) -- the line appended twice loads nothing more
LuaExportStart()
LuaExportAfterNextFrame()
LuaExportAfterNextFrame()
LuaExportStop()
equal(table.concat(calls, ","), "start,frame,frame,stop", "previous callbacks")
equal(#sockets, 1, "loaded twice, still one socket")
equal(#sockets[1].sent, 1, "loaded twice, still one datagram per 20 ms")

-- Case 6: without LuaSocket the script stays quiet and the previous callbacks still run.
reset(); installAircraft()
package.preload.socket = function() error("module 'socket' not found") end
calls = {}
function LuaExportAfterNextFrame() table.insert(calls, "frame") end
dofile(scriptPath)
LuaExportStart()
LuaExportAfterNextFrame()
LuaExportStop()
equal(table.concat(calls, ","), "frame", "previous frame callback without LuaSocket")

-- Case 7: a socket that cannot be set up is written to dcs.log once, whatever the number of missions.
reset(); installAircraft()
package.preload.socket = function() error("module 'socket' not found") end
local logged = {}
log = { ERROR = 2, INFO = 4 }
function log.write(subsystem, level, message) table.insert(logged, { subsystem, level, message }) end
dofile(scriptPath)
LuaExportStart()
LuaExportAfterNextFrame()
LuaExportStop()
LuaExportStart()
equal(#logged, 1, "one log line for the failed set-up")
equal(logged[1] and logged[1][1], "VortaneQuillar", "log subsystem")
equal(logged[1] and logged[1][2], 2, "logged as an error")
check(logged[1] and logged[1][3]:find("module 'socket' not found", 1, true) ~= nil,
    "the log line carries the reason: " .. tostring(logged[1] and logged[1][3]))
-- A socket that fails part-way (its peer cannot be set) is closed, logged, and sends nothing.
reset(); installSocket(); installAircraft()
logged = {}
log = { ERROR = 2 }
function log.write(subsystem, level, message) table.insert(logged, { subsystem, level, message }) end
local udp = package.preload.socket
package.preload.socket = function()
    local module = udp()
    local make = module.udp
    module.udp = function()
        local s = make()
        function s:setpeername() error("host not found") end
        return s
    end
    return module
end
dofile(scriptPath)
LuaExportStart()
LuaExportAfterNextFrame()
equal(#logged, 1, "one log line for a peer that cannot be set")
equal(sockets[1].calls[#sockets[1].calls], "close", "the half set-up socket is closed")
equal(#sockets[1].sent, 0, "a half set-up socket sends nothing")
-- Without the game's log object (or with one that fails) a failed set-up stays silent.
reset(); installAircraft()
package.preload.socket = function() error("module 'socket' not found") end
log = { ERROR = 2, write = function() error("log closed") end }
calls = {}
function LuaExportStart() table.insert(calls, "start") end
dofile(scriptPath)
LuaExportStart()
equal(table.concat(calls, ","), "start", "a failing log keeps the previous callbacks running")
log = nil

-- The user's settings come from Scripts/VortaneQuillarConfig.lua in the game's write folder; a missing,
-- broken or wrong-typed file leaves the script's own values, and a broken one is written to dcs.log.
local writedir = os.tmpname()
os.remove(writedir)
assert(os.execute("mkdir -p '" .. writedir .. "/Scripts'"))
local configPath = writedir .. "/Scripts/VortaneQuillarConfig.lua"
local function withConfig(text)
    reset(); installSocket(); installAircraft()
    package.loaded.lfs = nil
    package.preload.lfs = function() return { writedir = function() return writedir .. "/" end } end
    os.remove(configPath)
    if text then
        local f = assert(io.open(configPath, "w"))
        f:write(text)
        f:close()
    end
    logged = {}
    log = { ERROR = 2, WARNING = 1, write = function(_, level, message) table.insert(logged, message) end }
    dofile(scriptPath)
    LuaExportStart()
    local exporter = VortaneQuillarExport
    package.preload.lfs = nil
    package.loaded.lfs = nil
    log = nil
    return exporter
end
local e = withConfig(nil)
equal(e.port, 29778, "no settings file: the script's port")
equal(#logged, 0, "no settings file: nothing logged")
e = withConfig("return { port = 29800, host = '192.168.1.5', aoaScale = 57.2958, interval = 0.05 }\n")
equal(sockets[1].calls[2], "setpeername 192.168.1.5 29800", "the settings' peer")
equal(e.aoaScale, 57.2958, "the settings' angle-of-attack scale")
equal(e.interval, 0.05, "the settings' interval")
e = withConfig("return { port = 'many', interval = -1, aoaScale = 0/0 }\n")
equal(sockets[1].calls[2], "setpeername 127.0.0.1 29778", "wrong-typed settings leave the defaults")
equal(e.interval, 0.02, "a negative interval is ignored")
equal(e.aoaScale, 1, "a NaN scale is ignored")
e = withConfig("return { port = \n")
equal(sockets[1].calls[2], "setpeername 127.0.0.1 29778", "a broken settings file leaves the defaults")
equal(#logged, 1, "a broken settings file is logged once")
check(logged[1] and logged[1]:find("VortaneQuillarConfig.lua ignored", 1, true) ~= nil, "the log names the file")
e = withConfig("error('boom')\n")
equal(sockets[1].calls[2], "setpeername 127.0.0.1 29778", "a failing settings file leaves the defaults")
equal(#logged, 1, "a failing settings file is logged")
os.remove(configPath)
os.execute("rm -rf '" .. writedir .. "'")

print(string.format("%d checks, %d failed", checks, failures))
os.exit(failures == 0 and 0 or 1)
