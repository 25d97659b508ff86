#pragma once
// A path collected between the path escapes: current path of the device, and saved clip.

#include <utility>

#include "record/path_encoder.h"

namespace kv {

struct CapturedPath {
    PathBuffer path;
    PathMetrics metrics;
    DWORD references = 0;
};

// Shares a captured path; the last reference frees it.
class CapturedPathRef {
public:
    CapturedPathRef() = default;
    explicit CapturedPathRef(CapturedPath* path) : path_(path) {
        if (path_) ++path_->references;
    }
    CapturedPathRef(const CapturedPathRef& other) : CapturedPathRef(other.path_) {}
    CapturedPathRef(CapturedPathRef&& other) noexcept : path_(std::exchange(other.path_, nullptr)) {}
    CapturedPathRef& operator=(CapturedPathRef other) noexcept {
        std::swap(path_, other.path_);
        return *this;
    }
    ~CapturedPathRef() {
        if (path_ && --path_->references == 0) destroy_object(path_);
    }

    explicit operator bool() const { return path_ != nullptr; }
    CapturedPath* operator->() const { return path_; }

private:
    CapturedPath* path_ = nullptr;
};

}  // namespace kv
