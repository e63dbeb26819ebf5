local noise = require("noise")
local abs, sin, max = math.abs, math.sin, math.max

local function turbulence(x, y, z)
    local sum, strength = 0.0, 0.5
    for _ = 1, 4 do
        sum = sum + abs(2 * noise(x, y, z) - 1) * strength
        strength = strength * 0.5
        local t = 1.6 * x + 1.2 * y
        y = 1.6 * y - 1.2 * x
        x = 2 * z + 3.7
        z = t
    end
    return sum
end

-- No vectors here: tables would be made for every sample, and nobody writes Lua that way where speed counts.
local function mix(stone, cloud, vein, clouds, threads)
    local c = stone + (cloud - stone) * clouds
    return c + (vein - c) * threads
end

return function(u, v)
    local x = u * 3 + 11
    local y = v * 3 + 7
    local rough = turbulence(x, y, 5.0)
    local wave = sin(1.9 * x + 3.1 * y + 6.5 * rough)
    local depth = 1 - abs(wave)
    local thread = max(0, (depth - 0.7) / 0.3)
    local clouds, threads = 0.6 * depth, thread * thread
    return mix(0.80, 0.50, 0.045, clouds, threads), mix(0.78, 0.50, 0.05, clouds, threads),
        mix(0.74, 0.52, 0.07, clouds, threads)
end
