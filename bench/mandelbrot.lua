local sqrt = math.sqrt

return function(u, v)
    local cx = u * 3 - 2.2
    local cy = v * 3 - 1.5
    local x, y, n = 0.0, 0.0, 0
    while n < 64 do
        local xx = x * x
        local yy = y * y
        if xx + yy > 4 then break end
        y = 2 * x * y + cy
        x = xx - yy + cx
        n = n + 1
    end
    local t = n / 64
    return t, t * t, sqrt(t)
end
