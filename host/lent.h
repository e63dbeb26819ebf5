// A pointer that is set for a while.
#pragma once

namespace kestrel {

/// Sets a pointer for as long as the scope lasts; then it is null.
template <class T>
class Lent {
public:
    Lent(T*& slot, T* value) : slot_(slot) { slot_ = value; }
    ~Lent() { slot_ = nullptr; }
    Lent(const Lent&) = delete;
    Lent& operator=(const Lent&) = delete;

private:
    T*& slot_;
};

}  // namespace kestrel
