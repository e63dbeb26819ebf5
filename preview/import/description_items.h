// The items of a scene description.
#pragma once

#include "preview/import/description_tracks.h"

#include <string>
#include <unordered_map>
#include <vector>

namespace kestrel::preview {

/// Reads meshes with their bones, lights and cameras into a scene whose surfaces are there already. Items
/// refer to each other by name, in any order, so that the last step sets who refers to whom.
class ItemReader {
public:
    /// All outlive it.
    ItemReader(Scene& scene, const TrackReader& tracks, Budget& budget);

    void readMesh(const JsonValue& json);
    void readLight(const JsonValue& json);
    void readCamera(const JsonValue& json);
    /// Sets parents, targets and goals, and binds bones to their meshes.
    void connect(const std::string& file);

private:
    struct Reference {
        HostItemID from;
        HostItemID Item::*what;
        JsonValue name;
    };
    /// A mesh whose bones cannot be bound before all parents are known.
    struct Boned {
        std::size_t mesh;
        std::size_t firstBone;
        Geometry geometry;
        std::vector<std::string> fileBones;
    };

    [[nodiscard]] std::string nameOf(const JsonValue& json, const std::string& kind);
    void readItem(const JsonValue& json, Item& item);
    void readShape(const JsonValue& shape, const JsonValue& json, MeshItem& mesh);
    void readMeshFileOf(const JsonValue& file, const JsonValue& json, MeshItem& mesh);
    void readShadows(const JsonValue& json, MeshItem& mesh) const;
    void readBone(const JsonValue& json, HostItemID mesh);
    void readLens(const JsonValue& json, CameraItem& camera) const;
    [[nodiscard]] std::int32_t surfaceNamed(const JsonValue& name) const;
    [[nodiscard]] std::int32_t surfaceOfFile(const SurfaceEntry& entry);
    [[nodiscard]] HostItemID itemNamed(const JsonValue& name) const;
    void checkBoneParents(const Boned& boned, const std::string& file) const;

    Scene& scene_;
    const TrackReader& tracks_;
    Budget& budget_;
    std::unordered_map<std::string, HostItemID> itemsByName_;
    std::unordered_map<std::string, std::int32_t> surfacesByName_;
    Names itemNames_;
    Names surfaceNames_;
    std::vector<Reference> references_;
    std::vector<Boned> boned_;
};

}  // namespace kestrel::preview
