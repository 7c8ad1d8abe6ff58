// A counted object that is released at the end of its holder.
#pragma once

#include <utility>

namespace qv {

template <class Object>
class Held {
public:
    Held() = default;
    ~Held() { reset(); }
    Held(Held&& other) noexcept : object_(other.object_) { other.object_ = nullptr; }
    Held& operator=(Held&& other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    Object** out() {
        reset();
        return &object_;
    }
    Object* operator->() const { return object_; }
    Object* get() const { return object_; }
    void reset() {
        if (object_) object_->Release();
        object_ = nullptr;
    }

private:
    Object* object_ = nullptr;
};

} // namespace qv
