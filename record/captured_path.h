#pragma once
// A path collected between the path escapes: the current one of the device, and saved clips.

#include <array>
#include <utility>

#include "record/clip_recorder.h"
#include "record/path_encoder.h"
#include "support/assert.h"

namespace kv {

// A path of more entries than a record holds is a chain of parts.
class CapturedPath final : PathParts {
public:
    CapturedPath() = default;
    ~CapturedPath() { clear_parts(); }
    CapturedPath(const CapturedPath&) = delete;
    CapturedPath& operator=(const CapturedPath&) = delete;

    KeptClip clip;  // of the call that described the path

    // FALSE when memory is out, and when the path cannot be encoded even in parts.
    BOOL capture(PATHOBJ* source);
    bool is_empty() const { return last_.view().head.length == 0; }
    bool is_wide() const { return metrics_.wide; }
    const PathMetrics& metrics() const { return metrics_; }
    // The only part, as a clip; none of a path that is empty or stands in several parts.
    PathView whole() const { return first_ ? PathView() : last_.view(); }
    // Calls visit(part) with each part, in order.
    template <class Visit>
    void for_each_part(Visit visit) const {
        for (const Part* part = first_; part; part = part->next) visit(PathView{part->head, part->body()});
        visit(last_.view());
    }
    // The flags of the last entry of a path that is not empty.
    BYTE& last_entry_flags();
    // Nothing is left of a path that served as a clip.
    void use_up();

private:
    friend class CapturedPathRef;
    struct Part {
        Part* next;
        PathHead head;
        const BYTE* body() const { return reinterpret_cast<const BYTE*>(this + 1); }
    };
    BOOL add(const PathView& part) override;
    void clear_parts();

    Part* first_ = nullptr;
    Part** end_ = &first_;
    PathBuffer last_;
    PathMetrics metrics_;
    DWORD references_ = 0;
};

// Shares a captured path; the last reference frees it.
class CapturedPathRef {
public:
    CapturedPathRef() = default;
    explicit CapturedPathRef(CapturedPath* path) : path_(path) {
        if (path_) ++path_->references_;
    }
    CapturedPathRef(const CapturedPathRef& other) : CapturedPathRef(other.path_) {}
    CapturedPathRef(CapturedPathRef&& other) noexcept : path_(std::exchange(other.path_, nullptr)) {}
    CapturedPathRef& operator=(CapturedPathRef other) noexcept {
        std::swap(path_, other.path_);
        return *this;
    }
    ~CapturedPathRef() {
        if (path_ && --path_->references_ == 0) destroy_object(path_);
    }

    explicit operator bool() const { return path_ != nullptr; }
    CapturedPath* operator->() const {
        KV_ASSERT(path_ && path_->references_ > 0);
        return path_;
    }
    CapturedPath& operator*() const { return *path_; }

private:
    CapturedPath* path_ = nullptr;
};

// The clip paths that an application saved, the last one on top. A saved path may be none.
class SavedPaths {
public:
    // False when eight are saved already.
    bool push(CapturedPathRef path) {
        KV_ASSERT(count_ <= paths_.size());
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
