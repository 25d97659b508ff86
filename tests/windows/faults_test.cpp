// What goes wrong inside of a hook of the built DLL, in each guarded hook and in each way that a process knows: the
// document is cancelled, the process and its thread go on, and the next document is printed.

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>

#include "driver/pdevice.h"
#include "tests/scenes/scene.h"

namespace kv {
namespace {

enum class Fault { AccessViolation, GuardPage, Breakpoint, CppException, StackOverflow };
constexpr Fault kFaults[] = {Fault::AccessViolation, Fault::GuardPage, Fault::Breakpoint, Fault::CppException,
                             Fault::StackOverflow};
constexpr const char* kNames[] = {"access violation", "guard page", "breakpoint", "C++ exception", "stack overflow"};

Fault fault_to_raise;

__attribute__((noinline)) int exhaust_stack(const volatile char* above) {
    if (!above) return 0;
    volatile char page[1024];
    page[0] = *above;
    return exhaust_stack(page) + page[0];
}

}  // namespace

// Never returns: what it raises is handled further out.
extern "C" __attribute__((used)) void kv_raise_fault() {
    constexpr DWORD kCppException = 0xE06D7363;  // of the compiler that the system's own programs are built with
    const char first = 0;
    switch (fault_to_raise) {
        case Fault::Breakpoint:
            __debugbreak();
            break;
        case Fault::CppException:
            RaiseException(kCppException, EXCEPTION_NONCONTINUABLE, 0, nullptr);
            break;
        default:
            exhaust_stack(&first);
    }
    std::abort();
}

// As if called from where the fault was, with whatever alignment the stack has there.
extern "C" void kv_raise_fault_anywhere();
#ifdef __x86_64__
asm(R"(
    .text
    .seh_proc kv_raise_fault_anywhere
kv_raise_fault_anywhere:
    pushq %rbp
    .seh_pushreg %rbp
    movq %rsp, %rbp
    .seh_setframe %rbp, 0
    .seh_endprologue
    andq $-16, %rsp
    subq $32, %rsp
    call kv_raise_fault
    ud2
    .seh_endproc
)");
#else
extern "C" __attribute__((force_align_arg_pointer)) void kv_raise_fault_anywhere() { kv_raise_fault(); }
#endif

namespace {

// Memory that cannot be touched without the fault.
class Trap {
public:
    explicit Trap(Fault fault) : fault_(fault) {
        memory_ =
            static_cast<BYTE*>(VirtualAlloc(nullptr, kSize, MEM_COMMIT | MEM_RESERVE,
                                            fault == Fault::GuardPage ? PAGE_READWRITE | PAGE_GUARD : PAGE_NOACCESS));
        set_ = this;
        fault_to_raise = fault;
        handler_ = AddVectoredExceptionHandler(TRUE, on_exception);
    }
    ~Trap() {
        RemoveVectoredExceptionHandler(handler_);
        set_ = nullptr;
        VirtualFree(memory_, 0, MEM_RELEASE);
    }
    Trap(const Trap&) = delete;
    Trap& operator=(const Trap&) = delete;

    template <class T>
    T* at() const {
        return reinterpret_cast<T*>(memory_ + kSize / 2);
    }
    int touched() const { return touched_; }

private:
    static constexpr size_t kSize = 1 << 20;  // more than a job's last bytes in memory, on both sides

    static LONG CALLBACK on_exception(EXCEPTION_POINTERS* raised) {
        const EXCEPTION_RECORD& record = *raised->ExceptionRecord;
        const bool touch =
            record.ExceptionCode == EXCEPTION_ACCESS_VIOLATION || record.ExceptionCode == STATUS_GUARD_PAGE_VIOLATION;
        if (!touch || !set_ || record.ExceptionInformation[1] - reinterpret_cast<ULONG_PTR>(set_->memory_) >= kSize) {
            return EXCEPTION_CONTINUE_SEARCH;
        }
        ++set_->touched_;
        if (set_->fault_ == Fault::AccessViolation || set_->fault_ == Fault::GuardPage)
            return EXCEPTION_CONTINUE_SEARCH;
        call_from(*raised->ContextRecord);
        return EXCEPTION_CONTINUE_EXECUTION;
    }
    static void call_from(CONTEXT& context) {
        const auto target = reinterpret_cast<ULONG_PTR>(&kv_raise_fault_anywhere);
#ifdef __x86_64__
        context.Rsp -= sizeof context.Rip;
        *reinterpret_cast<DWORD64*>(context.Rsp) = context.Rip;
        context.Rip = target;
#else
        context.Esp -= sizeof context.Eip;
        *reinterpret_cast<DWORD*>(context.Esp) = context.Eip;
        context.Eip = target;
#endif
    }

    static inline Trap* set_ = nullptr;
    const Fault fault_;
    BYTE* memory_ = nullptr;
    void* handler_ = nullptr;
    int touched_ = 0;
};

// The device's job file is in the trap, until it is put back.
class MisledJob {
public:
    MisledJob(PDEVICE& device, const Trap& trap) : device_(device), kept_(device.job.release()) {
        device_.job.reset(trap.at<File>());
    }
    ~MisledJob() {
        static_cast<void>(device_.job.release());
        device_.job.reset(kept_);
    }

private:
    PDEVICE& device_;
    File* const kept_;
};

// The same of the memory where the job's last bytes gather. The array is its pointer, and the DLL's to free.
class MisledTail {
public:
    MisledTail(PDEVICE& device, const Trap& trap) : tail_(*reinterpret_cast<BYTE**>(&device.tail)) {
        static_assert(sizeof device.tail == sizeof(BYTE*));
        tail_ = trap.at<BYTE>();
    }
    ~MisledTail() { tail_ = kept_; }

private:
    BYTE*& tail_;
    BYTE* const kept_ = tail_;
};

struct HookFaults : testing::Test {
    void SetUp() override {
        // Room for whoever handles that the stack is used up. wine's first guard page stays at the very end all the
        // same; elsewhere nothing is there yet that could be protected.
        constexpr ULONG kRoom = 0x8000;
        ULONG room = kRoom;  // and what it was before
        ASSERT_TRUE(SetThreadStackGuarantee(&room));
        MEMORY_BASIC_INFORMATION stack = {};
        VirtualQuery(&stack, &stack, sizeof stack);
        DWORD before = 0;
        VirtualProtect(static_cast<BYTE*>(stack.AllocationBase) + kRoom, 1, PAGE_READWRITE | PAGE_GUARD, &before);
    }
    void TearDown() override { std::printf("%d faults\n", faults); }  // for whoever counts (campaign/windows)

    void open() {
        DriverDevMode mode = scenes::device_mode(0);
        device = std::make_unique<engine::Device>(driver, nullptr, &mode, TEXT("P"));
        ASSERT_TRUE(device->is_open());
    }
    void start_document() {
        open();
        ASSERT_TRUE(device->start_document(TEXT("Faults"), 1));
    }
    void start_page() {
        start_document();
        ASSERT_TRUE(device->start_page());
    }
    PDEVICE& pdevice() { return *reinterpret_cast<PDEVICE*>(device->handle()); }
    SURFOBJ* surface() { return device->surface(); }
    template <class Hook>
    Hook* hook(ULONG index) {
        return driver.hook<Hook>(index);
    }
    // The document has failed, and ends all the same.
    void expect_cancelled() {
        EXPECT_TRUE(pdevice().failed);
        EXPECT_TRUE(device->end_document());
        expect_next_document();
    }
    void expect_next_document() {
        EXPECT_FALSE(pdevice().failed || pdevice().document_open);
        ASSERT_TRUE(device->start_document(TEXT("Next"), 2));
        EXPECT_TRUE(device->start_page());
        EXPECT_TRUE(device->send_page());
        EXPECT_TRUE(device->end_document());
    }
    // Each fault in its turn, once, and the hook's last error for it.
    void each_fault(const std::function<void(const Trap&)>& call) {
        for (Fault fault : kFaults) {
            SCOPED_TRACE(kNames[static_cast<size_t>(fault)]);
            {
                Trap trap(fault);
                call(trap);
                EXPECT_GE(trap.touched(), 1);
            }
            ++faults;
            if (HasFailure()) return;
        }
    }
    void each_fault_in_drawing(const std::function<BOOL(const Trap&)>& draw) {
        each_fault([&](const Trap& trap) {
            start_page();
            SetLastError(0);
            EXPECT_FALSE(draw(trap));
            EXPECT_EQ(GetLastError(), DWORD{ERROR_GEN_FAILURE});
            expect_cancelled();
        });
    }

    engine::Driver driver;
    std::unique_ptr<engine::Device> device;
    int faults = 0;
};

TEST_F(HookFaults, Paths) {
    LINEATTRS line = {};
    engine::Brush brush = engine::Brush::solid(0);
    each_fault_in_drawing([&](const Trap& trap) {
        return hook<decltype(DrvStrokePath)>(INDEX_DrvStrokePath)(surface(), trap.at<PATHOBJ>(), nullptr, nullptr,
                                                                  &brush, nullptr, &line, R2_COPYPEN);
    });
    each_fault_in_drawing([&](const Trap& trap) {
        return hook<decltype(DrvFillPath)>(INDEX_DrvFillPath)(surface(), trap.at<PATHOBJ>(), nullptr, &brush, nullptr,
                                                              R2_COPYPEN, FP_WINDINGMODE);
    });
    each_fault_in_drawing([&](const Trap& trap) {
        return hook<decltype(DrvStrokeAndFillPath)>(INDEX_DrvStrokeAndFillPath)(
            surface(), trap.at<PATHOBJ>(), nullptr, nullptr, &brush, &line, &brush, nullptr, R2_COPYPEN, 0);
    });
}

TEST_F(HookFaults, TransfersWithoutASource) {
    RECTL target = {10, 10, 40, 40};
    each_fault_in_drawing([&](const Trap& trap) {
        return hook<decltype(DrvBitBlt)>(INDEX_DrvBitBlt)(surface(), nullptr, nullptr, nullptr, nullptr, &target,
                                                          nullptr, nullptr, trap.at<BRUSHOBJ>(), nullptr, 0xF0F0);
    });
}

// The bitmap's pixels are where nothing can be read.
TEST_F(HookFaults, TransfersOfASource) {
    RECTL target = {10, 10, 40, 40}, whole = {0, 0, 30, 30};
    POINTL origin = {0, 0};
    BLENDOBJ blend = {};
    blend.BlendFunction.SourceConstantAlpha = 0xFF;
    const auto bitmap = [&](const Trap& trap) {
        SURFOBJ source = {};
        source.iType = STYPE_BITMAP;
        source.iBitmapFormat = BMF_24BPP;
        source.fjBitmap = BMF_TOPDOWN;
        source.sizlBitmap = {30, 30};
        source.lDelta = 92;
        source.cjBits = 92 * 30;
        source.pvBits = source.pvScan0 = trap.at<void>();
        return source;
    };
    each_fault_in_drawing([&](const Trap& trap) {
        SURFOBJ source = bitmap(trap);
        return hook<decltype(DrvStretchBlt)>(INDEX_DrvStretchBlt)(
            surface(), &source, nullptr, nullptr, nullptr, nullptr, nullptr, &target, &whole, nullptr, COLORONCOLOR);
    });
    each_fault_in_drawing([&](const Trap& trap) {
        SURFOBJ source = bitmap(trap);
        return hook<decltype(DrvStretchBltROP)>(INDEX_DrvStretchBltROP)(surface(), &source, nullptr, nullptr, nullptr,
                                                                        nullptr, nullptr, &target, &whole, nullptr,
                                                                        COLORONCOLOR, nullptr, 0xCCCC);
    });
    each_fault_in_drawing([&](const Trap& trap) {
        SURFOBJ source = bitmap(trap);
        return hook<decltype(DrvCopyBits)>(INDEX_DrvCopyBits)(surface(), &source, nullptr, nullptr, &target, &origin);
    });
    each_fault_in_drawing([&](const Trap& trap) {
        SURFOBJ source = bitmap(trap);
        return hook<decltype(DrvAlphaBlend)>(INDEX_DrvAlphaBlend)(surface(), &source, nullptr, nullptr, &target, &whole,
                                                                  &blend);
    });
    each_fault_in_drawing([&](const Trap& trap) {
        SURFOBJ source = bitmap(trap);
        return hook<decltype(DrvTransparentBlt)>(INDEX_DrvTransparentBlt)(surface(), &source, nullptr, nullptr, &target,
                                                                          &whole, 0, 0);
    });
}

TEST_F(HookFaults, TextAndBrushes) {
    FONTOBJ font = {};
    engine::Brush brush = engine::Brush::solid(0), patterned = engine::Brush::patterned(nullptr, nullptr);
    each_fault_in_drawing([&](const Trap& trap) {
        return hook<decltype(DrvTextOut)>(INDEX_DrvTextOut)(surface(), trap.at<STROBJ>(), &font, nullptr, nullptr,
                                                            nullptr, &brush, &brush, nullptr,
                                                            R2_COPYPEN << 8 | R2_COPYPEN);
    });
    each_fault_in_drawing([&](const Trap& trap) {
        return hook<decltype(DrvRealizeBrush)>(INDEX_DrvRealizeBrush)(&patterned, surface(), trap.at<SURFOBJ>(),
                                                                      nullptr, nullptr, HS_DDI_MAX);
    });
    each_fault_in_drawing([&](const Trap& trap) {
        return static_cast<BOOL>(
            hook<decltype(DrvEscape)>(INDEX_DrvEscape)(surface(), QUERYESCSUPPORT, 4, trap.at<void>(), 0, nullptr));
    });
    // No document hears of a font that ends.
    each_fault([&](const Trap& trap) {
        font.pvConsumer = trap.at<void>();
        hook<decltype(DrvDestroyFont)>(INDEX_DrvDestroyFont)(&font);
        EXPECT_EQ(font.pvConsumer, nullptr);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_GEN_FAILURE});
    });
}

TEST_F(HookFaults, DocumentsAndPages) {
    each_fault([&](const Trap& trap) {
        open();
        EXPECT_FALSE(hook<decltype(DrvStartDoc)>(INDEX_DrvStartDoc)(surface(), trap.at<WCHAR>(), 1));
        EXPECT_EQ(GetLastError(), DWORD{ERROR_GEN_FAILURE});
        EXPECT_TRUE(device->end_document());
        expect_next_document();
    });
    each_fault([&](const Trap& trap) {
        start_document();
        {
            MisledTail misled(pdevice(), trap);
            EXPECT_FALSE(device->start_page());
            EXPECT_EQ(GetLastError(), DWORD{ERROR_GEN_FAILURE});
        }
        expect_cancelled();
    });
    each_fault([&](const Trap& trap) {
        start_page();
        {
            MisledTail misled(pdevice(), trap);
            EXPECT_FALSE(device->send_page());
            EXPECT_EQ(GetLastError(), DWORD{ERROR_GEN_FAILURE});
        }
        expect_cancelled();
    });
    each_fault([&](const Trap& trap) {
        start_page();
        ASSERT_TRUE(device->send_page());
        {
            MisledJob misled(pdevice(), trap);
            EXPECT_TRUE(device->end_document());
            EXPECT_EQ(GetLastError(), DWORD{ERROR_GEN_FAILURE});
        }
        expect_next_document();
    });
}

}  // namespace
}  // namespace kv
