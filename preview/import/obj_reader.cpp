#include "preview/import/obj_reader.h"

#include "platform/files.h"
#include "platform/paths.h"
#include "preview/import/input_file.h"
#include "preview/import/mtl_reader.h"
#include "preview/import/polygon.h"
#include "preview/import/text_lines.h"

#include <algorithm>
#include <utility>

namespace kestrel::preview {

namespace {

struct Corner {
    std::uint32_t point = 0;
    std::int32_t normal = -1;  ///< -1: none
};

struct Polygon {
    std::uint32_t firstCorner = 0;
    std::uint32_t smoothing = 0;  ///< the group in which edges are smooth; 0: flat
    std::int32_t surface = 0;     ///< in the scene
};

/// The faces of a mesh, which may be scattered over the file.
struct Faces {
    std::string name;
    std::vector<Corner> corners;
    std::vector<Polygon> polygons;

    [[nodiscard]] std::span<const Corner> cornersOf(std::size_t polygon) const {
        const std::size_t from = polygons[polygon].firstCorner;
        const std::size_t to =
            polygon + 1 < polygons.size() ? polygons[polygon + 1].firstCorner : corners.size();
        return std::span(corners).subspan(from, to - from);
    }
};

/// What a file lists apart from its faces, already in our space.
struct Lists {
    std::vector<Float3> points;
    std::vector<Float3> normals;
};

/// By point of the file; kept for the next mesh, so that many small ones cost no more than one.
struct Scratch {
    std::vector<std::uint32_t> firstVariant;
    std::vector<bool> counted;
};
constexpr std::uint32_t kNone = 0xFFFFFFFF;

/// Makes the geometry of one mesh: a point for each different corner.
class MeshBuilder {
public:
    MeshBuilder(const Lists& lists, const Faces& faces, Scratch& scratch, Budget& budget)
        : lists_(lists), faces_(faces), scratch_(scratch), budget_(budget) {
        scratch_.firstVariant.resize(lists.points.size(), kNone);
        scratch_.counted.resize(lists.points.size());
    }

    void build(MeshItem& mesh) {
        hasNormals_ = std::any_of(faces_.corners.begin(), faces_.corners.end(),
                                  [](const Corner& corner) { return corner.normal >= 0; }) ||
                      std::any_of(faces_.polygons.begin(), faces_.polygons.end(),
                                  [](const Polygon& polygon) { return polygon.smoothing != 0; });
        geometry_.triangles.reserve(faces_.polygons.size());
        geometry_.polygonOf.reserve(faces_.polygons.size());
        geometry_.surfaceOf.reserve(faces_.polygons.size());
        for (std::size_t i = 0; i < faces_.polygons.size(); ++i) addPolygon(mesh, i);
        for (const Corner& corner : faces_.corners) {
            scratch_.firstVariant[corner.point] = kNone;
            scratch_.counted[corner.point] = false;
        }
        for (Float3& normal : geometry_.normals) {
            const Vec3 unit = normalize(toVec(normal));
            normal = length(unit) > 0.0 ? toFloat3(unit) : Float3{0.0F, 1.0F, 0.0F};
        }
        mesh.points = static_cast<std::int32_t>(filePoints_);
        mesh.polygons = static_cast<std::int32_t>(faces_.polygons.size());
        if (geometry_.triangles.size() == faces_.polygons.size()) release(geometry_.polygonOf);
        if (mesh.surfaces.size() < 2) release(geometry_.surfaceOf);
        mesh.geometry = std::make_shared<const Geometry>(std::move(geometry_));
    }

private:
    /// What tells apart the corners at one point of the file.
    struct Variant {
        std::int64_t key;     ///< its normal, or its smoothing group as a negative number
        std::uint32_t point;  ///< in the geometry
        std::uint32_t next;   ///< variant of the same point
    };

    void addPolygon(MeshItem& mesh, std::size_t number) {
        const std::span<const Corner> corners = faces_.cornersOf(number);
        const Polygon& polygon = faces_.polygons[number];
        places_.clear();
        for (const Corner& corner : corners) places_.push_back(toVec(lists_.points[corner.point]));
        triangles_.clear();
        triangulate(places_, triangles_);
        budget_.takeTriangles(triangles_.size());
        const Vec3 area = hasNormals_ ? outwards() : Vec3{};
        numbers_.clear();
        for (const Corner& corner : corners) {
            numbers_.push_back(hasNormals_ ? shadedPoint(corner, polygon.smoothing, area) : point(corner, 0));
        }
        const std::uint16_t surface = surfacePlace(mesh, polygon.surface);
        for (const std::array<std::uint32_t, 3>& t : triangles_) {
            geometry_.triangles.push_back({numbers_[t[0]], numbers_[t[2]], numbers_[t[1]]});
            geometry_.polygonOf.push_back(static_cast<std::int32_t>(number));
            geometry_.surfaceOf.push_back(surface);
        }
    }

    /// Twice the polygon's area along its normal, which mirroring has turned round.
    [[nodiscard]] Vec3 outwards() const {
        Vec3 sum;
        for (const std::array<std::uint32_t, 3>& t : triangles_) {
            sum += cross(places_[t[2]] - places_[t[0]], places_[t[1]] - places_[t[0]]);
        }
        return sum;
    }

    std::uint32_t shadedPoint(const Corner& corner, std::uint32_t smoothing, const Vec3& area) {
        if (corner.normal >= 0) {
            const std::uint32_t at = point(corner, corner.normal);
            geometry_.normals[at] = lists_.normals[static_cast<std::size_t>(corner.normal)];
            return at;
        }
        if (smoothing == 0) {
            countFilePoint(corner.point);
            const std::uint32_t at = newPoint(corner.point);
            geometry_.normals[at] = toFloat3(normalize(area));
            return at;
        }
        const std::uint32_t at = point(corner, -static_cast<std::int64_t>(smoothing) - 1);
        geometry_.normals[at] = toFloat3(toVec(geometry_.normals[at]) + area);
        return at;
    }

    std::uint32_t newPoint(std::uint32_t filePoint) {
        budget_.takePoints(1);
        geometry_.points.push_back(lists_.points[filePoint]);
        if (hasNormals_) geometry_.normals.emplace_back();
        return static_cast<std::uint32_t>(geometry_.points.size() - 1);
    }

    /// The point in the geometry for a point of the file and a key.
    std::uint32_t point(const Corner& corner, std::int64_t key) {
        for (std::uint32_t v = scratch_.firstVariant[corner.point]; v != kNone; v = variants_[v].next) {
            if (variants_[v].key == key) return variants_[v].point;
        }
        countFilePoint(corner.point);
        const std::uint32_t at = newPoint(corner.point);
        variants_.push_back({key, at, scratch_.firstVariant[corner.point]});
        scratch_.firstVariant[corner.point] = static_cast<std::uint32_t>(variants_.size() - 1);
        return at;
    }

    void countFilePoint(std::uint32_t filePoint) {
        if (!scratch_.counted[filePoint]) ++filePoints_;
        scratch_.counted[filePoint] = true;
    }

    std::uint16_t surfacePlace(MeshItem& mesh, std::int32_t surface) {
        if (surface == lastSurface_) return lastPlace_;
        const auto [entry, isNew] =
            surfacePlaces_.emplace(surface, static_cast<std::uint16_t>(mesh.surfaces.size()));
        if (isNew) mesh.surfaces.push_back(surface);
        lastSurface_ = surface;
        return lastPlace_ = entry->second;
    }

    const Lists& lists_;
    const Faces& faces_;
    Scratch& scratch_;
    Budget& budget_;
    Geometry geometry_;
    bool hasNormals_ = false;
    std::vector<Variant> variants_;
    std::size_t filePoints_ = 0;
    std::unordered_map<std::int32_t, std::uint16_t> surfacePlaces_;
    std::int32_t lastSurface_ = -1;
    std::uint16_t lastPlace_ = 0;
    std::vector<Vec3> places_;  // of one polygon, as are the following
    std::vector<std::uint32_t> numbers_;
    std::vector<std::array<std::uint32_t, 3>> triangles_;
};

class ObjReader {
public:
    ObjReader(const std::string& file, std::string_view text, Budget& budget)
        : file_(file), lines_(file, text), budget_(budget) {}

    /// All that stands in the text; afterwards the text is not needed any more.
    void read() {
        while (lines_.next()) readLine(lines_.word());
    }

    Scene scene() {
        Scratch scratch;
        for (Faces& faces : meshes_) {
            if (faces.polygons.empty()) continue;
            MeshItem& mesh = addMesh(scene_, names_.choose(faces.name, "Mesh"));
            mesh.filename = file_;
            budget_.takeItem();
            MeshBuilder(lists_, faces, scratch, budget_).build(mesh);
            faces = {};
        }
        scene_.filename = file_;
        scene_.name = stemOf(file_);
        return std::move(scene_);
    }

private:
    void readLine(std::string_view word) {
        if (word == "v") {
            budget_.takePoints(1);
            lists_.points.push_back(vector());
        } else if (word == "vn") {
            budget_.takePoints(1);
            lists_.normals.push_back(vector());
        } else if (word == "f") {
            readFace();
        } else if (word == "o") {
            hasObjects_ = true;
            current_ = nullptr;
            name_ = lines_.name();
        } else if (word == "g" && !hasObjects_) {
            current_ = nullptr;
            name_ = lines_.name();
        } else if (word == "s") {
            readSmoothing();
        } else if (word == "usemtl") {
            surface_ = surface(std::string(lines_.name()));
        } else if (word == "mtllib") {
            readMaterials(std::string(lines_.name()));
        }
    }

    Float3 vector() {
        const double x = lines_.number();
        const double y = lines_.number();
        const Vec3 v{x, y, -lines_.number()};
        if (!usable(v)) lines_.fail("a coordinate is too large");
        return toFloat3(v);
    }

    void readSmoothing() {
        const std::string_view word = lines_.word();
        smoothing_ = 0;
        if (word == "off") return;
        const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), smoothing_);
        if (word == "on") smoothing_ = 1;
        if (word != "on" && (error != std::errc() || end != word.data() + word.size())) {
            lines_.fail("a smoothing group is a number, or off");
        }
    }

    void readFace() {
        Faces& faces = currentFaces();
        const std::size_t before = faces.corners.size();
        for (std::string_view word = lines_.word(); !word.empty(); word = lines_.word()) {
            faces.corners.push_back(corner(word));
        }
        if (faces.corners.size() - before < 3) {
            faces.corners.resize(before);  // a line or a point: nothing to see
            return;
        }
        if (surface_ < 0) surface_ = surface("");
        faces.polygons.push_back({static_cast<std::uint32_t>(before), smoothing_, surface_});
    }

    Corner corner(std::string_view word) {
        const std::size_t first = word.find('/');
        Corner corner;
        corner.point =
            static_cast<std::uint32_t>(index(word.substr(0, first), lists_.points.size(), "point"));
        const std::size_t second = first == std::string_view::npos ? first : word.find('/', first + 1);
        if (second != std::string_view::npos) {
            corner.normal =
                static_cast<std::int32_t>(index(word.substr(second + 1), lists_.normals.size(), "normal"));
        }
        return corner;
    }

    /// Files count from 1, or backwards from the last with negative numbers.
    std::int64_t index(std::string_view digits, std::size_t count, const char* what) {
        std::int64_t number = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
        const auto most = static_cast<std::int64_t>(count);
        const std::int64_t place = number < 0 ? most + number : number - 1;
        if (error != std::errc() || end != digits.data() + digits.size() || number < -most || place < 0 ||
            place >= most) {
            lines_.fail("there is no " + std::string(what) + " \"" + std::string(digits.substr(0, 40)) +
                        "\"");
        }
        return place;
    }

    Faces& currentFaces() {
        if (current_ != nullptr) return *current_;
        const auto [entry, isNew] = meshNumbers_.emplace(name_, meshes_.size());
        if (isNew) meshes_.push_back({name_, {}, {}});
        current_ = &meshes_[entry->second];
        return *current_;
    }

    std::int32_t surface(const std::string& name) {
        const auto found = surfaceNumbers_.find(name);
        if (found != surfaceNumbers_.end()) return found->second;
        SurfaceEntry entry;
        entry.name = name;
        return addSurface(std::move(entry));
    }

    std::int32_t addSurface(SurfaceEntry entry) {
        if (scene_.surfaces.size() >= ImportLimits::kSurfaces) lines_.fail("too many materials");
        const auto number = static_cast<std::int32_t>(scene_.surfaces.size());
        surfaceNumbers_.emplace(entry.name, number);
        entry.name = surfaceNames_.choose(entry.name, "Surface");
        scene_.surfaces.push_back(std::move(entry));
        return number;
    }

    void readMaterials(const std::string& name) {
        const std::string path = pathBeside(file_, name);
        if (!platform::fileExists(platform::systemPath(path))) return;  // often lost when a file travels
        for (SurfaceEntry& entry : readMtl(path, readBytes(path))) {
            if (!surfaceNumbers_.contains(entry.name)) (void)addSurface(std::move(entry));
        }
    }

    const std::string& file_;
    TextLines lines_;
    Budget& budget_;
    Scene scene_;
    Lists lists_;
    std::vector<Faces> meshes_;
    std::unordered_map<std::string, std::size_t> meshNumbers_;
    Faces* current_ = nullptr;
    std::string name_;
    bool hasObjects_ = false;
    std::uint32_t smoothing_ = 0;
    std::int32_t surface_ = -1;
    std::unordered_map<std::string, std::int32_t> surfaceNumbers_;
    Names names_;
    Names surfaceNames_;
};

}  // namespace

Scene readObj(const std::string& nativePath, Budget& budget) {
    std::string text = readBytes(nativePath);
    ObjReader reader(nativePath, text, budget);
    reader.read();
    release(text);
    return reader.scene();
}

}  // namespace kestrel::preview
