-- Times the functions in Lua, called from a loop in Lua; runs under lua5.4 and luajit. Prints what harness.cpp prints.
--   lua5.4 harness.lua PASSES FOLDER NAME...
local passes = tonumber(arg[1])
package.path = arg[2] .. "/?.lua"

local size = 256
local shortestPass = 0.01 -- seconds; short functions go over the grid several times

local red, green, blue = {}, {}, {}
for i = 1, size * size do red[i], green[i], blue[i] = 0.0, 0.0, 0.0 end

local function fill(pattern)
    local at = 0
    for y = 0, size - 1 do
        for x = 0, size - 1 do
            at = at + 1
            red[at], green[at], blue[at] = pattern((x + 0.5) / size, (y + 0.5) / size)
        end
    end
end

local function seconds(pattern, rounds)
    local start = os.clock()
    for _ = 1, rounds do fill(pattern) end
    return os.clock() - start
end

local function measure(pattern)
    seconds(pattern, 1)
    local once = seconds(pattern, 1)
    local rounds = math.max(1, math.floor(shortestPass / math.max(once, 1e-6)))
    local times = {}
    for i = 1, passes do times[i] = seconds(pattern, rounds) end
    table.sort(times)
    return times[math.floor(passes / 2) + 1] * 1e9 / rounds / (size * size)
end

local function describe()
    local r, g, b, weighted = 0.0, 0.0, 0.0, 0.0
    for i = 1, size * size do
        local u = ((i - 1) % size + 0.5) / size
        local v = (math.floor((i - 1) / size) + 0.5) / size
        r, g, b = r + red[i], g + green[i], b + blue[i]
        weighted = weighted + (red[i] + 2 * green[i] + 3 * blue[i]) * (u + 2 * v)
    end
    local count = size * size
    return string.format("%.16g %.16g %.16g %.16g", r / count, g / count, b / count, weighted / count)
end

for i = 3, #arg do
    local pattern = require(arg[i])
    local time = measure(pattern)
    print(string.format("%s %.3f %s", arg[i], time, describe()))
end
