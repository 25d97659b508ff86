#pragma once
// Errors and ownership across the border to MuPDF, which reports errors by jumping out of its functions.

#include <mupdf/fitz.h>

#include <cstdio>
#include <stdexcept>
#include <utility>

namespace kvprint {

// What MuPDF could not do. Its own words are for its developers and are not passed on.
struct LibraryFault : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Runs calls of MuPDF and turns its errors into LibraryFault. Nothing with a destructor may live inside the calls: a
// jump passes it by.
template <class Calls>
[[gnu::noinline]] void with_errors(fz_context* context, Calls calls) {
    const char* fault = nullptr;
    fz_var(fault);
    fz_try(context) { calls(); }
    fz_catch(context) {
        fault = fz_caught(context) == FZ_ERROR_MEMORY ? "not enough memory" : "damaged: it cannot be read";
    }
    if (fault) throw LibraryFault(fault);
}

// The body of a function that MuPDF calls: exceptions become its errors.
template <class Body>
void as_callback(fz_context* context, Body body) {
    char message[256] = "";
    bool failed = false;
    try {
        body();
    } catch (const std::exception& error) {
        std::snprintf(message, sizeof message, "%s", error.what());
        failed = true;
    }
    if (failed) fz_throw(context, FZ_ERROR_GENERIC, "%s", message);
}

// Owns one reference to an object of MuPDF.
template <class T, void (*drop)(fz_context*, T*)>
class Held {
public:
    Held() = default;
    Held(fz_context* context, T* object) : context_(context), object_(object) {}
    Held(Held&& other) noexcept : context_(other.context_), object_(std::exchange(other.object_, nullptr)) {}
    Held& operator=(Held&& other) noexcept {
        std::swap(context_, other.context_);
        std::swap(object_, other.object_);
        return *this;
    }
    ~Held() {
        if (object_) drop(context_, object_);
    }
    T* get() const { return object_; }
    explicit operator bool() const { return object_ != nullptr; }

private:
    fz_context* context_ = nullptr;
    T* object_ = nullptr;
};

using Pixmap = Held<fz_pixmap, fz_drop_pixmap>;
using DrawDevice = Held<fz_device, fz_drop_device>;

// What a call makes, owned.
template <class Holder, class Make>
Holder make_held(fz_context* context, Make make) {
    decltype(make()) made = nullptr;
    with_errors(context, [&] { made = make(); });
    return Holder(context, made);
}

}  // namespace kvprint
