#pragma once
// A path collected between the path escapes: the current one of the device, and saved clips.

#include <array>
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
    CapturedPath& operator*() const { return *path_; }

private:
    CapturedPath* path_ = nullptr;
};

// The clip paths that an application saved, the last one on top. A saved path may be none.
class SavedPaths {
public:
    // False when eight are saved already.
    bool push(CapturedPathRef path) {
        if (count_ == paths_.size()) return false;
        paths_[count_++] = std::move(path);
        return true;
    }
    // Takes the top off and makes it the current path. False when nothing is saved.
    bool pop(CapturedPathRef& current) {
        if (count_ == 0) return false;
        current = std::move(paths_[--count_]);
        return true;
    }

private:
    std::array<CapturedPathRef, 8> paths_;
    size_t count_ = 0;
};

}  // namespace kv
