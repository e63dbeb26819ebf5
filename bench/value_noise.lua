local noise = require("noise")

return function(u, v)
    local n = noise(u * 16, v * 16, 0.5)
    return n, n, n
end
