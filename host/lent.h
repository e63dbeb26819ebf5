// A pointer that is set for a while.
#pragma once

#include <utility>

namespace kestrel {

/// Sets a pointer for as long as the scope lasts; then it is what it was before: the host may call back from
/// inside.
template <class T>
class Lent {
public:
    Lent(T*& slot, T* value) : slot_(slot), before_(std::exchange(slot, value)) {}
    ~Lent() { slot_ = before_; }
    Lent(const Lent&) = delete;
    Lent& operator=(const Lent&) = delete;

private:
    T*& slot_;
    T* const before_;
};

}  // namespace kestrel
