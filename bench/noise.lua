-- The noise of examples/library/noise.ks: value noise on a lattice of 2048 random numbers.
local floor = math.floor

local lattice = {}
local state = 7
local function random()
    state = (state * 214013 + 2531011) % 4294967296
    return floor(state / 65536) % 32768 * 3.051850947599719e-5
end
random() -- seeding draws one, too
for i = 1, 2048 do lattice[i] = random() end
for i = 2049, 2258 do lattice[i] = lattice[i - 2048] end

return function(x, y, z)
    local i, j, k = floor(x), floor(y), floor(z)
    local n = (i + 37 * j + 172 * k) % 2048 + 1
    local u, v, w = x - i, y - j, z - k
    u = u * u * (3 - 2 * u)
    v = v * v * (3 - 2 * v)
    w = w * w * (3 - 2 * w)
    local a = lattice[n]
    local b = lattice[n + 37]
    local c = lattice[n + 172]
    local d = lattice[n + 209]
    a = a + (lattice[n + 1] - a) * u
    b = b + (lattice[n + 38] - b) * u
    c = c + (lattice[n + 173] - c) * u
    d = d + (lattice[n + 210] - d) * u
    a = a + (b - a) * v
    c = c + (d - c) * v
    return a + (c - a) * w
end
