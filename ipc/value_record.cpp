#include "ipc/value_record.h"

namespace kestrel {

void putValue(SharedRecord& record, const ValueCell& value) {
    switch (value.type) {
        case Integer:
            record.kind = kSharedInteger;
            record.setInteger(truncate32(value.number));
            break;
        case Number:
            record.kind = kSharedNumber;
            record.setNumber(value.number);
            break;
        case String:
        case TempString:
            record.kind = kSharedText;
            record.setText(value.text != nullptr ? value.text : "");
            break;
        case Vector:
            record.kind = kSharedVector;
            record.setNumber(value.vec.x, 0);
            record.setNumber(value.vec.y, 1);
            record.setNumber(value.vec.z, 2);
            break;
        case Nil:
            record.kind = kSharedNil;
            break;
        default:
            break;
    }
}

}  // namespace kestrel
