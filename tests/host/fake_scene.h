// A scene for tests: a host's services about items, with every answer in the test's hands.
#pragma once

#include "host/host_interface.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace kestrel::test {

/// One item. Its neighbours are what the test says, so lists may lead in a circle.
struct FakeItem {
    std::int32_t type = HX_MESH;
    const char* name = nullptr;
    HostItemID next = 0;
    HostItemID firstBone = 0;
    HostItemID firstChild = 0;
    HostItemID nextSibling = 0;
    HostItemID parent = 0;
    HostItemID target = 0;
    HostItemID goal = 0;
};

/// Numbers that operations tell are made of what they were asked: a vector is the item, the parameter and the
/// time.
class FakeScene {
public:
    FakeScene();
    ~FakeScene();
    FakeScene(const FakeScene&) = delete;
    FakeScene& operator=(const FakeScene&) = delete;

    /// A mesh "Body" (10) with two bones, "Hip" (30) and "Knee" (31), and two children, "Arm" (11) and "Lamp"
    /// (20); a second light, "Spot" (21), and a camera (40) that looks at Body.
    void furnish();
    /// Two images, "oak.png" and "ash.png".
    void furnishImages();
    /// @return null for a name that is no service of the scene
    void* service(std::string_view name);
    /// What was asked since the last time, as "operation item ..."; nothing while `recording` is off.
    std::vector<std::string> asked();

    std::map<HostItemID, FakeItem> content;
    HostItemID first[HX_SCENE] = {};  ///< by type; bones are found through their objects
    bool recording = true;
    std::function<void()> onQuestion;  ///< called back by every operation
    std::uint32_t bits = 0;            ///< shadow options, bone flags and unlimited components
    double color[3] = {1.0, 0.5, 0.0};

    ItemInfo items;
    ObjectInfo objects;
    BoneInfo bones;
    LightInfo lights;
    CameraInfo cameras;
    SceneInfo info;
    ImageList images{};

    /// For the operations, which are plain functions.
    FakeItem& hear(const char* operation, HostItemID item);

private:
    std::vector<std::string> asked_;
};

}  // namespace kestrel::test
