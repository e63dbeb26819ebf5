// Shading must not allocate: counts every allocation of the process while a script that only computes is
// evaluated.
#include "tests/allocations/allocator.h"
#include "tests/host/fake_host.h"

namespace kestrel::test {
namespace {

TEST(Allocation, AScriptThatOnlyComputesDoesNotAllocate) {
    FakeHost host;
    host.scene.furnish();
    host.scene.recording = false;
    const HxInstance instance = host.createWith(R"(
scale = 4;
noise: x, y { v = sin(x * 12.9898 + y * 78.233) * 43758.5453; return frac(v), abs(v); }
process: sa
{
    var sum = 0, weights[4];
    for i = 1 to 4 do weights[i] = 1 / i;
    i = 1;
    while (i <= 4)
    {
        (n, m) = noise(sa.oPos[1] * scale * i, sa.oPos[2]);
        sum += n * weights[i++];
        if (m > 1000000000) break;
    }
    p = <sa.wPos[1], sa.wPos[2], sa.wPos[3]> * 2 + <0, 0, vmag(<1, 2, 3>)>;
    switch (integer(sum)) { case 0: sa.diffuse = 0.25; default: sa.diffuse = 0.5; }
    if (sa.sx % 2 == 0) sa.color[1] = sum; else sa.color[1] = dot3d(p, <0, 1, 0>);
    item = sa.objID;
    for (child = item.firstChild(); child; child = item.nextChild()) sa.eta = child.type;
    for (bone = item.bone(); bone; bone = bone.next()) sa.roughness = bone.restlength;
    q = item.getWorldPosition(0) + item.param(SCALING, 0);
    (a, b, c, e, f, h) = item.limits(POSITION);
    lamp = getfirstitem(LIGHT);
    (r, g, b) = lamp.rgbcolor(0);
    scene = getfirstitem(SCENE);
    sa.specular = q.x + r + scene.framewidth;
    (d, r, g, b) = raytrace(<0,0,0>, <0,0,1>);
    sa.mirror = d;
}
)");
    ASSERT_EQ(host.shown(), Lines{});
    ShadingSample sample{};
    sample.rayTrace = [](const double*, const double*, double*) { return 2.5; };
    const auto shade = [&](int count) {
        for (int i = 0; i < count; ++i) {
            sample.sx = i;
            sample.oPos[0] = i * 0.01;
            sample.wPos[1] = i * 0.02;
            sample.objID = static_cast<HostItemID>(i % 2 + 10);
            host.handler.evaluate(instance, &sample);
        }
    };
    shade(1000);  // the first samples make what is kept
    const std::size_t before = allocations.made;
    shade(1000);
    EXPECT_EQ(allocations.made - before, 0u);
    EXPECT_EQ(host.shown(), Lines{});
    EXPECT_EQ(sample.mirror, 2.5);
    EXPECT_EQ(sample.specular, 11.0 * 2 + 255 + 640);
}

}  // namespace
}  // namespace kestrel::test
