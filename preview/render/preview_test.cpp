// The preview as a whole, with a module of a few lines (fake_module.c).
#include "platform/paths.h"
#include "preview/render/renderer.h"
#include "preview/scene/builtin_scene.h"
#include "preview/services/file_dialog.h"

#include <gtest/gtest.h>

#include <cfenv>
#include <cstring>
#include <numbers>
#include <string>
#include <vector>

namespace kestrel::preview {

class Preview : public testing::Test {
protected:
    static constexpr RenderOptions kSmall{64, 64, 1, {}, 1.0, false};

    void SetUp() override {
        std::string error;
        host_ = ModuleHost::open(PREVIEW_FAKE_MODULE, services_, error);
        ASSERT_NE(host_, nullptr) << error;
    }

    /// An effect of the test module.
    std::unique_ptr<ShaderHandle> shaderOf(const std::string& effect) {
        std::unique_ptr<ShaderHandle> shader = ShaderHandle::create(*host_);
        EXPECT_TRUE(shader->loadScript(effect));
        return shader;
    }
    /// A small picture of the scene with an effect.
    Image picture(const std::string& effect) {
        const std::unique_ptr<ShaderHandle> shader = shaderOf(effect);
        Shading shading(pose_, caster_, {});
        services_.setOperations(&shading);
        shader->init();
        shader->newTime(0, 0.0);
        const SurfaceShader scripted{shader.get(), shader->flags()};
        shading.setShaders({&scripted, 1});
        std::optional<Image> image = render(pose_, shading, kSmall, {});
        services_.setOperations(nullptr);
        return *image;
    }

    template <class Service>
    Service& service(const char* name) {
        return *static_cast<Service*>(services_.global()(name, HX_USE_KEEP));
    }

    const Scene scene_ = makeSphereScene();
    const SceneIndex index_{scene_};
    const Pose pose_{index_, 0.0};
    FileDialog dialog_{{"/a dir/answer.ks", "second"}, false};
    std::vector<std::string> messages_;
    PreviewServices services_{index_, dialog_,
                              [this](HostMessageKind kind, const char* line1, const char* line2) {
                                  messages_.push_back(std::to_string(static_cast<int>(kind)) + line1 + "|" +
                                                      (line2 == nullptr ? "none" : line2));
                              }};
    const RayCaster caster_{pose_};
    std::unique_ptr<ModuleHost> host_;
};

TEST_F(Preview, HitsLieExactlyOnTheSphereAndTurnTheirNormalsOutwards) {
    for (int i = 0; i < 200; ++i) {
        const double angle = 2.0 * std::numbers::pi * i / 200.0;
        const Vec3 eye{5.0 * std::cos(angle), 2.0 + 1.5 * std::sin(3.0 * angle), 5.0 * std::sin(angle)};
        const Vec3 aim{0.3 * std::sin(5.0 * angle), 1.0 + 0.9 * std::cos(7.0 * angle), 0.0};
        const Hit hit = caster_.intersect({eye, normalize(aim - eye)});
        ASSERT_NE(hit.mesh, nullptr);
        ASSERT_EQ(hit.mesh->mesh->item.name, "Sphere");
        EXPECT_NEAR(length(hit.objectPoint), 1.0, 1e-15);
        EXPECT_LT(length(eye + normalize(aim - eye) * hit.distance - hit.point), 1e-12);
        EXPECT_LT(dot(hit.normal, aim - eye), 0.0);
        EXPECT_FALSE(hit.inside);
        ASSERT_GE(hit.polygon, 0);
        ASSERT_LT(hit.polygon, hit.mesh->mesh->polygons);

        const Hit behind = caster_.intersect({hit.point, normalize(aim - eye)});
        EXPECT_TRUE(behind.inside) << "a ray that starts on the front must find the back";
    }
}

TEST_F(Preview, RayCastingLeavesDenormalNumbersAlone) {
    volatile double tiny = 1e-310;
    (void)caster_.intersect({{0.0, 1.0, -5.0}, {0.0, 0.0, 1.0}});
    EXPECT_GT(tiny * 0.5, 0.0);
}

TEST_F(Preview, ScriptsAskForLightAndRays) {
    const Image lit = picture("lit");
    const Vec3& key = pose_.lights.front().color;
    EXPECT_LT(length(lit.at(26, 24) - key), 1e-7);  // the side that faces the light
    EXPECT_EQ(lit.at(46, 44), Vec3{});              // in its own shadow
    const Vec3 zenith = scene_.sky.color({0.0, 1.0, 0.0});
    EXPECT_LT(length(picture("ray").at(32, 32) - zenith),
              1e-7);  // the test module looks straight up from above the sphere
    Shading shading(pose_, caster_, {});
    Vec3 seen;
    EXPECT_LT(shading.traceRay({0.0, 3.0, 0.0}, {0.0, 1.0, 0.0}, seen), 0.0);
    EXPECT_EQ(seen, zenith);
    EXPECT_NEAR(shading.traceRay({0.0, 3.0, 0.0}, {0.0, -1.0, 0.0}, seen), 1.0, 1e-12);
    EXPECT_GT(seen.x, 0.0);
}

TEST_F(Preview, ARayOfAScriptShowsOtherScriptsButNotTheOneThatRuns) {
    const auto asking = shaderOf("across");
    const auto other = shaderOf("color");
    Shading shading(pose_, caster_, {});
    services_.setOperations(&shading);
    const auto centre = [&](ShaderHandle* ground) {
        const SurfaceShader shaders[] = {{asking.get(), 0}, {ground, 0}};
        shading.setShaders(shaders);
        return render(pose_, shading, kSmall, {})->at(32, 32);
    };
    // The ground's script makes it shine in the colors of its position, (5, 0, 5).
    EXPECT_LT(length(centre(other.get()) - Vec3{3.0, 0.5, 3.0}), 1e-6);
    const Vec3 plain = centre(nullptr);
    EXPECT_LT(plain.x, 1.0);
    EXPECT_EQ(centre(asking.get()), plain) << "its own script is running";
    services_.setOperations(nullptr);
}

TEST_F(Preview, NumbersThatAreNoneAreCountedAndStayInTheirPixel) {
    const auto broken = shaderOf("broken");
    const SurfaceShader shader{broken.get(), 0};
    Shading shading(pose_, caster_, {&shader, 1});
    const std::optional<Image> image = render(pose_, shading, kSmall, {});
    for (std::int32_t y = 0; y < 64; ++y) {
        for (std::int32_t x = 0; x < 64; ++x) ASSERT_TRUE(finite(image->at(x, y))) << x << "," << y;
    }
    const RenderStatistics& statistics = shading.statistics();
    EXPECT_EQ(statistics.samples, 64U * 64U);
    EXPECT_GT(statistics.scriptRuns, 900U);
    EXPECT_EQ(statistics.badRuns, statistics.scriptRuns);
    EXPECT_GT(statistics.rays, statistics.samples);
    EXPECT_EQ(statistics.badSamples, 0U);
}

TEST_F(Preview, TilesAndPassesGiveTheSamePictureToTheLastBit) {
    const auto shader = shaderOf("lit");
    const SurfaceShader scripted{shader.get(), HXSF_COLOR};
    Shading shading(pose_, caster_, {&scripted, 1});
    services_.setOperations(&shading);
    RenderOptions options{24, 20, 40, {}, 1.5, true};
    std::vector<Float3> whole(options.pixels());
    renderTile(pose_, shading, options, options.rendered(), 0, 40, whole);
    std::vector<Float3> parts(options.pixels());
    for (const auto& [first, count] : {std::pair{0, 3}, std::pair{3, 30}, std::pair{33, 7}}) {
        for (const Tile& tile : {Tile{13, 0, 30, 20}, Tile{0, 7, 13, 20}, Tile{-5, -5, 13, 7}}) {
            renderTile(pose_, shading, options, tile, first, count, parts);
        }
    }
    EXPECT_EQ(std::memcmp(whole.data(), parts.data(), whole.size() * sizeof(Float3)), 0);
    options.region = Tile{4, 5, 9, 7};
    std::vector<Float3> region(options.pixels());
    renderTile(pose_, shading, options, {0, 0, 24, 20}, 0, 40, region);
    for (int i = 0; i < 24 * 20; ++i) {
        const bool inside = i % 24 >= 4 && i % 24 < 9 && i / 24 >= 5 && i / 24 < 7;
        const auto at = static_cast<std::size_t>(i);
        EXPECT_EQ(region[at].y, inside ? whole[at].y : 0.0F) << i;
    }
    services_.setOperations(nullptr);
}

TEST_F(Preview, IlluminateKnowsDirectionShadowAndWhatIsNoLight) {
    Shading shading(pose_, caster_, {});
    const PosedLight& key = pose_.lights.front();
    Vec3 vector;
    Vec3 color;
    shading.illuminate(key.light->item.id, {0.0, 5.0, 0.0}, vector, color);
    EXPECT_EQ(color, key.color);
    EXPECT_LT(length(vector - normalize(Vec3{0.0, 5.0, 0.0} - key.position)), 1e-12);
    const Vec3 behind = pose_.meshes.front().toWorld.origin * 2.0 - key.position;
    shading.illuminate(key.light->item.id, {behind.x * 0.4, 0.01, behind.z * 0.4}, vector, color);
    EXPECT_EQ(color, Vec3{}) << "the sphere stands between";
    Vec3 kept{1.0, 2.0, 3.0};
    shading.illuminate(scene_.camera().item.id, {0.0, 5.0, 0.0}, kept, color);
    EXPECT_EQ(color, Vec3{});
    EXPECT_EQ(kept, (Vec3{1.0, 2.0, 3.0}));
}

TEST_F(Preview, AFailedLoadIsNoticedAndItsMessageShown) {
    const std::unique_ptr<ShaderHandle> shader = ShaderHandle::create(*host_);
    EXPECT_FALSE(shader->loadScript("nosuch"));
    ASSERT_EQ(messages_.size(), 1U);
    EXPECT_EQ(messages_.front(), "2no such effect|none");
}

TEST_F(Preview, WhatIsNoModuleIsRefusedWithItsName) {
    std::string error;
    EXPECT_EQ(ModuleHost::open("/nowhere/module.so", services_, error), nullptr);
    EXPECT_NE(error.find("/nowhere/module.so"), std::string::npos);
}

TEST_F(Preview, FileRequestsTakeTheAnswersInOrderAndThenAreCancelled) {
    const FileRequestService& requests = service<FileRequestService>(HX_SERVICE_FILE_REQUEST);
    char name[64] = "*.ks";
    char path[64] = "\\start";
    char full[64] = "";
    EXPECT_EQ(requests.fileRequest("Load...", name, path, full, 4), 0) << "an answer must fit";
    EXPECT_STREQ(name, "*.ks");
    EXPECT_EQ(requests.fileRequest("Load...", name, path, full, sizeof full), 1);
    EXPECT_STREQ(name, "second");
    EXPECT_EQ(platform::baseName(full), "second");
    EXPECT_EQ(std::string(path) + "\\second", full);
    EXPECT_EQ(requests.fileRequest("Load...", name, path, full, sizeof full), 0);
}

}  // namespace kestrel::preview
