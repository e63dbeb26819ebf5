local abs, floor, sin, fmod = math.abs, math.floor, math.sin, math.fmod

local function ramp(x, a, b)
    local t = (x - a) / (b - a)
    if t < 0 then t = 0.0 end
    if t > 1 then t = 1.0 end
    return t * t * (3 - 2 * t)
end

return function(u, v)
    local y = v * 12
    local row = floor(y)
    local x = u * 5 + (row % 2 == 0 and 0.0 or 0.5)
    local column = floor(x)
    local a = abs(2 * (x - column) - 1)
    local b = abs(2 * (y - row) - 1)
    local face = ramp((1 - a) * 1.25, 0.06, 0.14) * ramp((1 - b) * 0.5, 0.06, 0.14)
    local luck = abs(fmod(sin(row * 12.9898 + column * 78.233) * 43758.5453, 1))
    local shade = 0.7 + 0.5 * luck
    return 0.42 + (0.36 * shade - 0.42) * face, 0.40 + (0.105 * shade - 0.40) * face,
        0.365 + (0.06 * shade - 0.365) * face
end
