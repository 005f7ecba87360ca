// Move-only owners of what the Win32 calls hand out: kernel and find handles,
// LocalAlloc and CoTaskMemAlloc memory, loaded modules, memory device contexts,
// GDI objects and COM interfaces. Each releases its value once, when it is reset
// or destroyed, unless the value was handed over with release() first.
#pragma once

#include <windows.h>

#include <objbase.h>

#include <utility>

namespace platform::win32 {

// Owns one value of the kind that Traits describes: Traits::Empty() is the value
// of an owner with nothing, Traits::Owns(v) tells a value that must be released
// and Traits::Close(v) releases it.
template <typename Traits> class UniqueValue {
public:
    using Pointer = typename Traits::Pointer;

    UniqueValue() = default;
    explicit UniqueValue(Pointer owned) : value(owned) {}
    ~UniqueValue() { reset(); }
    UniqueValue(const UniqueValue&) = delete;
    UniqueValue& operator=(const UniqueValue&) = delete;
    UniqueValue(UniqueValue&& other) noexcept : value(other.release()) {}
    UniqueValue& operator=(UniqueValue&& other) noexcept {
        if (this != &other)
            reset(other.release());
        return *this;
    }

    Pointer get() const { return value; }
    // For the owners of COM interfaces.
    Pointer operator->() const { return value; }
    explicit operator bool() const { return Traits::Owns(value); }
    // The place for a call that returns the value through an out-parameter;
    // whatever was held before is released first.
    Pointer* put() {
        reset();
        return &value;
    }
    // The same place for the creating calls that take a void**.
    void** put_void() { return reinterpret_cast<void**>(put()); }
    // Hands the value over: the caller releases it, or deliberately never does.
    Pointer release() { return std::exchange(value, Traits::Empty()); }
    void reset(Pointer owned = Traits::Empty()) {
        const Pointer old = std::exchange(value, owned);
        if (Traits::Owns(old))
            Traits::Close(old);
    }

private:
    Pointer value = Traits::Empty();
};

// A kernel object; null and INVALID_HANDLE_VALUE both stand for none, as the
// creating functions return one or the other.
struct KernelHandleTraits {
    using Pointer = HANDLE;
    static Pointer Empty() { return nullptr; }
    static bool Owns(Pointer value) { return value != nullptr && value != INVALID_HANDLE_VALUE; }
    static void Close(Pointer value) { CloseHandle(value); }
};

// A search of FindFirstFileW, closed with FindClose.
struct FindHandleTraits {
    using Pointer = HANDLE;
    static Pointer Empty() { return INVALID_HANDLE_VALUE; }
    static bool Owns(Pointer value) { return value != INVALID_HANDLE_VALUE; }
    static void Close(Pointer value) { FindClose(value); }
};

// The kinds below hold null when they hold nothing.
template <typename T> struct NullWhenEmpty {
    using Pointer = T;
    static Pointer Empty() { return nullptr; }
    static bool Owns(Pointer value) { return value != nullptr; }
};

template <typename T> struct LocalMemoryTraits : NullWhenEmpty<T*> {
    static void Close(T* value) { LocalFree(value); }
};

template <typename T> struct CoTaskMemoryTraits : NullWhenEmpty<T*> {
    static void Close(T* value) { CoTaskMemFree(value); }
};

struct ModuleTraits : NullWhenEmpty<HMODULE> {
    static void Close(HMODULE value) { FreeLibrary(value); }
};

// A device context of CreateCompatibleDC, deleted with DeleteDC.
struct MemoryDcTraits : NullWhenEmpty<HDC> {
    static void Close(HDC value) { DeleteDC(value); }
};

template <typename T> struct GdiObjectTraits : NullWhenEmpty<T> {
    static void Close(T value) { DeleteObject(value); }
};

// One reference to a COM interface, given back with Release.
template <typename T> struct ComTraits : NullWhenEmpty<T*> {
    static void Close(T* value) { value->Release(); }
};

using UniqueHandle = UniqueValue<KernelHandleTraits>;
using UniqueFind = UniqueValue<FindHandleTraits>;
template <typename T> using UniqueLocalMemory = UniqueValue<LocalMemoryTraits<T>>;
template <typename T> using UniqueCoTaskMemory = UniqueValue<CoTaskMemoryTraits<T>>;
using UniqueModule = UniqueValue<ModuleTraits>;
using UniqueMemoryDc = UniqueValue<MemoryDcTraits>;
template <typename T> using UniqueGdiObject = UniqueValue<GdiObjectTraits<T>>;
template <typename T> using UniqueCom = UniqueValue<ComTraits<T>>;

} // namespace platform::win32
