// Points times 4x4 matrices.
#include "builtins/common/handlers.h"
#include "builtins/math/numeric.h"
#include "engine/operations/arrays.h"

namespace kestrel::builtins {

namespace {

struct Matrix {
    double m[4][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
};

/// The point as a row vector (x, y, z, 1) times the matrix, divided by the resulting w.
VectorValue apply(const Matrix& matrix, const VectorValue& p) {
    double out[4];
    for (int j = 0; j < 4; ++j)
        out[j] = p.x * matrix.m[0][j] + p.y * matrix.m[1][j] + p.z * matrix.m[2][j] + matrix.m[3][j];
    return {out[0] / out[3], out[1] / out[3], out[2] / out[3]};
}

bool isTarget(const ValueCell& cell) {
    return cell.type == Vector || cell.type == ArrayRef;
}

/// Ends a call: a Vector target gives its image; the Vectors of an array are moved in place and there is no
/// result.
void transformTarget(BuiltinCall& call, const ValueCell& target, const Matrix& matrix,
                     const VectorValue& pivot) {
    const auto image = [&](const VectorValue& p) {
        const VectorValue moved = apply(matrix, {p.x - pivot.x, p.y - pivot.y, p.z - pivot.z});
        return VectorValue{moved.x + pivot.x, moved.y + pivot.y, moved.z + pivot.z};
    };
    if (target.type == Vector) {
        call.resultVector(image(target.vec));
        return;
    }
    if (target.array != nullptr) {
        for (ValueCell& element : target.array->elements)
            if (element.type == Vector) element.vec = image(element.vec);
    }
    call.none();
}

/// 1 to 3, or 0 for what names no axis.
int axisOf(const ValueCell& cell) {
    if (cell.isNumeric()) {
        const std::int64_t axis = truncate(cell.number);
        return axis >= 1 && axis <= 3 ? static_cast<int>(axis) : 0;
    }
    if (!cell.isText()) return 0;
    switch (cell.text[0]) {
        case 'X':
        case 'x':
            return 1;
        case 'Y':
        case 'y':
            return 2;
        case 'Z':
        case 'z':
            return 3;
        default:
            return 0;
    }
}

Matrix rotation(int axis, double angle) {
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    Matrix matrix;
    auto& m = matrix.m;
    switch (axis) {
        case 1:
            m[1][1] = c;
            m[1][2] = s;
            m[2][1] = -s;
            m[2][2] = c;
            break;
        case 2:
            // Both sines are negative, so this is no pure rotation: meant, scenes are built on it.
            m[0][0] = c;
            m[0][2] = -s;
            m[2][0] = -s;
            m[2][2] = c;
            break;
        default:
            m[0][0] = c;
            m[0][1] = s;
            m[1][0] = -s;
            m[1][1] = c;
            break;
    }
    return matrix;
}

/// A transform given by one vector: fill(matrix, vector) makes the matrix.
template <class Fill>
void transformByVector(BuiltinCall& call, Fill fill) {
    if (!isTarget(call.arg(1))) return call.failType(2);
    if (call.arg(0).type != Vector) return call.failType(1);
    Matrix matrix;
    fill(matrix.m, call.arg(0).vec);
    transformTarget(call, call.arg(1), matrix, {});
}

}  // namespace

void translate3d(BuiltinCall& call) {
    transformByVector(call, [](auto& m, const VectorValue& t) {
        m[3][0] = t.x;
        m[3][1] = t.y;
        m[3][2] = t.z;
    });
}

void scale3d(BuiltinCall& call) {
    transformByVector(call, [](auto& m, const VectorValue& s) {
        m[0][0] = s.x;
        m[1][1] = s.y;
        m[2][2] = s.z;
    });
}

void rotate3d(BuiltinCall& call) {
    if (call.argc < 3 || call.argc > 4) return call.failCount();
    VectorValue pivot;
    if (call.argc == 4) {
        if (call.arg(3).type != Vector) return call.failType(4);
        pivot = call.arg(3).vec;
    }
    if (!isTarget(call.arg(2))) return call.failType(3);
    if (!call.arg(1).isNumeric()) return call.failType(2);
    const int axis = axisOf(call.arg(0));
    if (axis == 0) return call.failType(1);
    transformTarget(call, call.arg(2), rotation(axis, call.arg(1).number), pivot);
}

}  // namespace kestrel::builtins
