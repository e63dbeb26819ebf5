local floor, sqrt = math.floor, math.sqrt

local offsetX, offsetY = {}, {}
local state = 11
local function random()
    state = (state * 214013 + 2531011) % 4294967296
    return floor(state / 65536) % 32768 * 3.051850947599719e-5
end
random() -- seeding draws one, too
for i = 1, 256 do
    offsetX[i] = random()
    offsetY[i] = random()
end

return function(u, v)
    local x = u * 9
    local y = v * 9
    local i = floor(x)
    local j = floor(y)
    local nearest, second = 9.0, 9.0
    for dj = -1, 1 do
        for di = -1, 1 do
            local n = (37 * (i + di) + 101 * (j + dj)) % 256 + 1
            local dx = i + di + offsetX[n] - x
            local dy = j + dj + offsetY[n] - y
            local d = dx * dx + dy * dy
            if d < nearest then
                second = nearest
                nearest = d
            elseif d < second then
                second = d
            end
        end
    end
    nearest = sqrt(nearest)
    second = sqrt(second)
    return nearest, second - nearest, 0.5 * (1 - nearest)
end
