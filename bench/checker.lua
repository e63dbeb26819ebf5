local floor = math.floor

return function(u, v)
    local i = floor(u * 8)
    local j = floor(v * 8)
    if (i + j) % 2 == 0 then return 0.85, 0.80, 0.68 end
    return 0.08, 0.02, 0.03
end
