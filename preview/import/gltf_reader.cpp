#include "preview/import/gltf_reader.h"

#include "preview/import/gltf_animation.h"
#include "preview/import/gltf_meshes.h"
#include "preview/import/input_file.h"
#include "preview/scene/pose.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

namespace kestrel::preview {

namespace {

constexpr std::int64_t kMostPlaces = std::int64_t{1} << 40;
constexpr double kFramesPerSecond = 30.0;
constexpr std::string_view kLights = "KHR_lights_punctual";

/// A node of the scene that is read.
struct Node {
    JsonValue json;
    std::size_t number;        ///< in the file
    std::int64_t parent = -1;  ///< in the list of nodes that are read
    bool wanted = false;       ///< there is something in it or below it
    bool isJoint = false;
    HostItemID item = 0;  ///< what its children hang from
};

/// A mesh with a skin, whose bones are still to be made.
struct Skinned {
    std::size_t mesh;  ///< in Scene::meshes
    JsonValue skin;
};

class GltfReader {
public:
    GltfReader(const std::string& path, Budget& budget)
        : file_(path), budget_(budget), animation_(file_, budget), meshes_(file_, scene_, budget) {}

    Scene read() {
        checkExtensions();
        collectNodes();
        readJoints();
        markWanted();
        for (Node& node : nodes_) addItems(node);
        for (const Skinned& skinned : skinned_) addBones(skinned);
        hangItems();
        readImages();
        nameScene();
        scene_.settings.framesPerSecond = kFramesPerSecond;
        scene_.settings.frameEnd =
            static_cast<std::int32_t>(std::ceil(animation_.length() * kFramesPerSecond - 1e-6));
        finishScene(scene_, scene_.filename);
        tameLights();
        return std::move(scene_);
    }

private:
    /// What a file cannot be read without, and what only changes how surfaces look.
    void checkExtensions() const {
        file_.root().forEach("extensionsRequired", [](const JsonValue& name) {
            const std::string& text = name.text();
            const bool known = text == kLights || text == "KHR_mesh_quantization" ||
                               text.starts_with("KHR_materials_") || text.starts_with("KHR_texture_") ||
                               text.starts_with("EXT_texture_");
            if (!known) name.fail("needs the extension " + text + ", which cannot be read");
        });
    }

    std::vector<JsonValue> roots() const {
        std::vector<JsonValue> result;
        const JsonValue root = file_.root();
        const std::optional<JsonValue> scenes = root.find("scenes");
        if (!scenes || scenes->size() == 0) return result;
        const std::optional<JsonValue> wanted = root.find("scene");
        const JsonValue scene = wanted ? file_.element("scenes", *wanted) : scenes->at(0);
        scene.forEach("nodes", [&](const JsonValue& reference) { result.push_back(reference); });
        return result;
    }

    /// Parents before their children. A node that is met twice has two parents, or is its own.
    void collectNodes() {
        const std::optional<JsonValue> all = file_.root().find("nodes");
        places_.assign(all ? all->size() : 0, -1);
        std::vector<std::pair<JsonValue, std::int64_t>> open;
        for (const JsonValue& reference : roots()) open.emplace_back(reference, -1);
        std::reverse(open.begin(), open.end());
        while (!open.empty()) {
            const auto [reference, parent] = open.back();
            open.pop_back();
            const JsonValue json = file_.element("nodes", reference);
            const auto number = static_cast<std::size_t>(reference.integer(0, kMostPlaces));
            if (places_[number] >= 0) reference.fail("the node hangs in two places");
            places_[number] = static_cast<std::int64_t>(nodes_.size());
            nodes_.push_back({json, number, parent});
            const std::optional<JsonValue> children = json.find("children");
            for (std::size_t i = children ? children->size() : 0; i-- > 0;) {
                open.emplace_back(children->at(i), places_[number]);
            }
        }
    }

    [[nodiscard]] Node* nodeAt(const JsonValue& reference) {
        (void)file_.element("nodes", reference);
        const std::int64_t place = places_[static_cast<std::size_t>(reference.integer(0, kMostPlaces))];
        return place < 0 ? nullptr : &nodes_[static_cast<std::size_t>(place)];
    }

    void readJoints() {
        for (const Node& node : nodes_) {
            const std::optional<JsonValue> skin = node.json.find("skin");
            if (!skin || !node.json.find("mesh")) continue;
            file_.element("skins", *skin).forEach("joints", [this](const JsonValue& reference) {
                Node* joint = nodeAt(reference);
                if (joint == nullptr) reference.fail("the joint is not part of the scene");
                joint->isJoint = true;
            });
        }
    }

    [[nodiscard]] static std::optional<JsonValue> lightOf(const JsonValue& node) {
        const std::optional<JsonValue> extensions = node.find("extensions");
        const std::optional<JsonValue> light = extensions ? extensions->find(kLights) : std::nullopt;
        return light ? light->find("light") : std::nullopt;
    }

    void markWanted() {
        for (auto node = nodes_.rbegin(); node != nodes_.rend(); ++node) {
            node->wanted = node->wanted || node->isJoint || node->json.find("mesh") ||
                           node->json.find("camera") || lightOf(node->json);
            if (node->wanted && node->parent >= 0)
                nodes_[static_cast<std::size_t>(node->parent)].wanted = true;
        }
    }

    /// A node becomes the item that it holds; further ones hang from it and do not move against it. One that
    /// only holds other nodes becomes a mesh that shows nothing.
    void addItems(Node& node) {
        if (!node.wanted) return;
        if (const auto mesh = node.json.find("mesh")) place(node, addMeshOf(node, *mesh).item);
        if (const auto camera = node.json.find("camera")) place(node, addCameraOf(node, *camera).item);
        if (const auto light = lightOf(node.json)) place(node, addLightOf(node, *light).item);
        if (node.item != 0 || node.isJoint) return;
        MeshItem& group = addMesh(scene_, nameOf(node, "Group"));
        group.hidden = true;
        place(node, group.item);
    }

    void place(Node& node, Item& item) {
        budget_.takeItem();
        if (node.isJoint) {
            onJoints_.emplace_back(item.id, static_cast<std::size_t>(&node - nodes_.data()));
        } else if (node.item == 0) {
            node.item = item.id;
            item.motion = animation_.motionOf(node.number, node.json);
        } else {
            item.parent = node.item;
        }
    }

    std::string nameOf(const Node& node, const std::string& kind) {
        return names_.choose(node.json.textOr("name", ""), kind);
    }

    MeshItem& addMeshOf(const Node& node, const JsonValue& reference) {
        const GltfMesh& source = meshes_.mesh(reference);
        MeshItem& mesh = addMesh(scene_, nameOf(node, "Mesh"));
        mesh.geometry = source.geometry;
        mesh.surfaces = source.surfaces;
        mesh.filename = node.json.file();
        mesh.points = static_cast<std::int32_t>(source.geometry->points.size());
        mesh.polygons = static_cast<std::int32_t>(source.geometry->triangles.size());
        if (const std::optional<JsonValue> skin = node.json.find("skin")) {
            const JsonValue joints = file_.element("skins", *skin).require("joints");
            if (joints.size() < source.bones) {
                skin->fail("has fewer joints than /meshes/" + reference.json().dump() + " needs");
            }
            skinned_.push_back({scene_.meshes.size() - 1, file_.element("skins", *skin)});
        }
        return mesh;
    }

    CameraItem& addCameraOf(const Node& node, const JsonValue& reference) {
        const JsonValue json = file_.element("cameras", reference);
        CameraItem& camera = addCamera(scene_, nameOf(node, "Camera"));
        if (json.require("type").oneOf({"perspective", "orthographic"}) == 0) {
            const JsonValue lens = json.require("perspective");
            const double fov = lens.require("yfov").number(1e-3, std::numbers::pi - 1e-3);
            camera.verticalFov = fov;
            camera.focalLength = focalLengthOfFov(fov);
            const auto aspect = lens.find("aspectRatio");
            if (aspect && scene_.cameras.size() == 1) {
                scene_.settings.width = static_cast<std::int32_t>(
                    std::lround(scene_.settings.height * aspect->number(0.01, 100.0)));
            }
        } else {
            camera.orthographic = true;
            camera.orthographicHeight = 2.0 * json.require("orthographic").require("ymag").number();
            if (!(camera.orthographicHeight > 0.0)) json.fail("an orthographic camera needs a height");
        }
        return camera;
    }

    /// Files give candela and lux; a surface that reflects all that arrives sends back a share of pi.
    LightItem& addLightOf(const Node& node, const JsonValue& reference) {
        const JsonValue lights = file_.root().require("extensions").require(kLights).require("lights");
        const auto number = static_cast<std::size_t>(reference.integer(0, kMostPlaces));
        if (number >= lights.size()) reference.fail("there is no such light");
        const JsonValue json = lights.at(number);
        LightItem& light = addLight(scene_, nameOf(node, "Light"));
        constexpr std::array kInOrder{LightItem::Type::Distant, LightItem::Type::Point,
                                      LightItem::Type::Spot};
        light.type = kInOrder[json.require("type").oneOf({"directional", "point", "spot"})];
        const std::optional<JsonValue> color = json.find("color");
        light.color = color ? color->vector() : Vec3{1.0, 1.0, 1.0};
        light.intensity = std::clamp(json.numberOr("intensity", 1.0), 0.0, 1e12) / std::numbers::pi;
        if (light.type != LightItem::Type::Distant) light.falloff = LightItem::Falloff::Square;
        if (light.type == LightItem::Type::Spot) {
            const std::optional<JsonValue> spot = json.find("spot");
            const double outer =
                spot ? spot->numberOr("outerConeAngle", std::numbers::pi / 4.0) : std::numbers::pi / 4.0;
            const double inner = spot ? spot->numberOr("innerConeAngle", 0.0) : 0.0;
            light.coneRadius = std::clamp(outer, 1e-3, std::numbers::pi / 2.0);
            light.coneEdge = std::clamp(light.coneRadius - inner, 0.0, light.coneRadius);
        }
        return light;
    }

    /// The joints of a skin as bones of one mesh. A skin that two meshes wear becomes bones for each.
    void addBones(const Skinned& skinned) {
        const JsonValue joints = skinned.skin.require("joints");
        if (joints.size() > ImportLimits::kBonesOfMesh) joints.fail("has too many joints");
        const std::optional<JsonValue> matrices = skinned.skin.find("inverseBindMatrices");
        std::vector<float> inverse;
        if (matrices) {
            if (file_.count(*matrices) != joints.size()) matrices->fail("has not as many matrices as joints");
            inverse = file_.numbers(*matrices, "MAT4");
        }
        MeshItem& mesh = scene_.meshes[skinned.mesh];
        std::unordered_map<std::int64_t, HostItemID> boneOf;  // by place in nodes_
        const std::size_t first = scene_.bones.size();
        for (std::size_t i = 0; i < joints.size(); ++i) {
            Node& node = *nodeAt(joints.at(i));
            budget_.takeItem();
            BoneItem& bone = addBone(scene_, nameOf(node, "Bone"));
            bone.mesh = mesh.item.id;
            bone.item.motion = animation_.motionOf(node.number, node.json);
            bone.rest = GltfAnimation::restOf(node.json);
            if (matrices) bone.fromMesh = mirroredMap(&inverse[16 * i]);
            mesh.bones.push_back(bone.item.id);
            boneNodes_.push_back(&node - nodes_.data());
            if (!boneOf.emplace(boneNodes_.back(), bone.item.id).second)
                joints.at(i).fail("is a joint twice");
            if (node.item == 0) node.item = bone.item.id;
        }
        for (std::size_t i = first; i < scene_.bones.size(); ++i) {
            const auto above = boneOf.find(nodes_[static_cast<std::size_t>(boneNodes_[i])].parent);
            if (above != boneOf.end()) scene_.bones[i].item.parent = above->second;
        }
        setLengths(first);
    }

    [[nodiscard]] static Transform mirroredMap(const float* m) {
        const auto column = [m](std::size_t i, double side) {
            const auto wide = [m, i](std::size_t k) { return static_cast<double>(m[4 * i + k]); };
            return Vec3{wide(0), wide(1), -wide(2)} * side;
        };
        return {column(0, 1.0), column(1, 1.0), column(2, -1.0), column(3, 1.0)};
    }

    /// A bone reaches to its first child; the last of a chain is as long as the one before.
    void setLengths(std::size_t first) {
        std::unordered_map<HostItemID, double> reach;
        for (std::size_t i = first; i < scene_.bones.size(); ++i) {
            const BoneItem& bone = scene_.bones[i];
            const double distance = length(bone.rest.position.at(0.0));
            if (bone.item.parent != 0 && distance > 0.0) reach.emplace(bone.item.parent, distance);
        }
        for (std::size_t i = first; i < scene_.bones.size(); ++i) {
            BoneItem& bone = scene_.bones[i];
            const auto own = reach.find(bone.item.id);
            const auto above = reach.find(bone.item.parent);
            bone.restLength = own != reach.end() ? own->second : above != reach.end() ? above->second : 1.0;
        }
    }

    /// Gives all items their parents, now that all exist.
    void hangItems() {
        std::unordered_map<HostItemID, Item*> items;
        forEachItem(scene_, [&](Item& item) { items.emplace(item.id, &item); });
        const auto itemAbove = [this](const Node& node) {
            return node.parent < 0 ? HostItemID{0} : nodes_[static_cast<std::size_t>(node.parent)].item;
        };
        for (const Node& node : nodes_) {
            if (node.item != 0 && !node.isJoint) items[node.item]->parent = itemAbove(node);
        }
        for (std::size_t i = 0; i < scene_.bones.size(); ++i) {
            HostItemID& parent = scene_.bones[i].item.parent;
            if (parent == 0) parent = itemAbove(nodes_[static_cast<std::size_t>(boneNodes_[i])]);
        }
        for (const auto& [id, node] : onJoints_) items[id]->parent = nodes_[node].item;
    }

    void readImages() {
        file_.root().forEach("images", [this](const JsonValue& image) {
            budget_.takeItem();
            ImageItem& added = scene_.images.emplace_back();
            added.id = itemNumber(HX_SCENE + 1, scene_.images.size() - 1);
            const std::string uri = image.textOr("uri", "");
            const std::optional<std::string> path = decodePercent(uri);
            const bool isFile = path && !uri.starts_with("data:") && staysInside(*path);
            if (isFile) added.filename = pathBeside(image.file(), *path);
            added.name = imageNames_.choose(image.textOr("name", isFile ? *path : ""), "Image");
        });
    }

    void nameScene() {
        scene_.filename = file_.root().file();
        const std::optional<JsonValue> scenes = file_.root().find("scenes");
        if (scenes && scenes->size() > 0) scene_.name = scenes->at(0).textOr("name", "");
        if (scene_.name.empty()) scene_.name = stemOf(scene_.filename);
    }

    /// Programs write lights in physical units, which need an exposure. Scripts and pictures here know none,
    /// so lights that would be far too bright in the middle of the scene are dimmed together.
    void tameLights() {
        constexpr double kTooBright = 10.0;
        constexpr double kBright = 1.2;
        const SceneIndex index(scene_);
        Vec3 center;
        for (const MeshItem& mesh : scene_.meshes) {
            center +=
                worldAt(index, mesh.item, 0.0).origin * (1.0 / static_cast<double>(scene_.meshes.size()));
        }
        double brightest = 0.0;
        for (const LightItem& light : scene_.lights) {
            const Vec3 way = worldAt(index, light.item, 0.0).origin - center;
            const double fall = light.type == LightItem::Type::Distant ? 1.0 : std::max(1.0, dot(way, way));
            brightest = std::max(brightest, largest(light.color.at(0.0)) * light.intensity.at(0.0) / fall);
        }
        if (!(brightest > kTooBright) || !std::isfinite(brightest)) return;
        for (LightItem& light : scene_.lights)
            light.intensity = light.intensity.at(0.0) * (kBright / brightest);
    }

    GltfFile file_;
    Scene scene_;
    Budget& budget_;
    GltfAnimation animation_;
    GltfMeshes meshes_;
    std::vector<Node> nodes_;
    std::vector<std::int64_t> places_;  // of a node of the file in nodes_; -1: not part of the scene
    std::vector<Skinned> skinned_;
    std::vector<std::ptrdiff_t> boneNodes_;                     // of Scene::bones, in nodes_
    std::vector<std::pair<HostItemID, std::size_t>> onJoints_;  // items that a bone moves, with its node
    Names names_;
    Names imageNames_;
};

}  // namespace

Scene readGltf(const std::string& nativePath, Budget& budget) {
    return GltfReader(nativePath, budget).read();
}

}  // namespace kestrel::preview
