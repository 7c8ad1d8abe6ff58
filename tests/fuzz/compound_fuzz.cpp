// Any bytes as a compound file: opened, walked and read, then changed and read again. Memory is counted.
#include "qvlibs/platform/Storage.h"
#include "qvlibs/platform/StorageCheck.h"
#include "tests/fuzz/ByPath.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <new>

#include <malloc.h>

namespace {

size_t held = 0, most = 0;

void* take(size_t size) {
    void* block = std::malloc(size ? size : 1);
    if (!block) throw std::bad_alloc();
    held += malloc_usable_size(block);
    most = std::max(most, held);
    return block;
}

void give(void* block) {
    if (block) held -= malloc_usable_size(block);
    std::free(block);
}

} // namespace

void* operator new(size_t size) { return take(size); }
void* operator new[](size_t size) { return take(size); }
void operator delete(void* block) noexcept { give(block); }
void operator delete[](void* block) noexcept { give(block); }
void operator delete(void* block, size_t) noexcept { give(block); }
void operator delete[](void* block, size_t) noexcept { give(block); }

namespace {

constexpr DWORD kAlone = STGM_SHARE_EXCLUSIVE;

void readStream(IStorage* storage, const char* name) {
    static char buffer[4096];
    IStream* stream = nullptr;
    if (storage->OpenStream(name, nullptr, STGM_READ | kAlone, 0, &stream) < 0) return;
    ULONG got = 0;
    while (stream->Read(buffer, sizeof buffer, &got) >= 0 && got > 0) {
    }
    stream->Seek(-1, STREAM_SEEK_END, nullptr);
    stream->Read(buffer, 1, &got);
    stream->Release();
}

// How many elements there are.
unsigned walk(IStorage* storage) {
    unsigned count = 0;
    IEnumSTATSTG* elements = nullptr;
    if (storage->EnumElements(0, nullptr, 0, &elements) < 0) return 0;
    for (STATSTG element; elements->Next(1, &element, nullptr) == S_OK; ++count) {
        IStorage* below = nullptr;
        if (element.type == STGTY_STREAM) {
            readStream(storage, element.pwcsName);
        } else if (storage->OpenStorage(element.pwcsName, nullptr, STGM_READ | kAlone, nullptr, 0, &below) >=
                   0) {
            count += walk(below);
            below->Release();
        }
    }
    elements->Release();
    return count;
}

void change(IStorage* root) {
    static const char kBytes[5000] = {};
    IEnumSTATSTG* elements = nullptr;
    if (root->EnumElements(0, nullptr, 0, &elements) < 0) return;
    STATSTG first, second;
    const bool two =
        elements->Next(1, &first, nullptr) == S_OK && elements->Next(1, &second, nullptr) == S_OK;
    elements->Release();
    for (const char* name : {"new", "data", "one"}) {
        IStream* stream = nullptr;
        if (root->CreateStream(name, STGM_CREATE | STGM_READWRITE | kAlone, 0, 0, &stream) < 0) continue;
        stream->Write(kBytes, name[0] == 'n' ? 5000 : 100, nullptr);
        stream->Release();
    }
    if (!two) return;
    root->RenameElement(first.pwcsName, "renamed");
    root->DestroyElement(second.pwcsName);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, size_t size) {
    if (size > 1 << 20) return 0;
    const qv::test::InputFile file(data, size);
    IStorage* root = nullptr;
    const size_t before = held;
    most = held;
    unsigned elements = 0;
    if (StgOpenStorage(file.path(), nullptr, STGM_READ | STGM_SHARE_DENY_WRITE, nullptr, 0, &root) >= 0) {
        elements = walk(root);
        root->Release();
    }
    // No entry is met twice, and four times the file is enough for everything (64 KiB are always allowed).
    if (elements > size / 128 || most - before > 4 * size + 65536) {
        std::fprintf(stderr, "%u elements, %zu bytes of memory for %zu\n", elements, most - before, size);
        std::abort();
    }
    qv::StorageReport report;
    qv::checkStorageFile(file.path(), report);
    if (StgOpenStorage(file.path(), nullptr, STGM_READWRITE | kAlone, nullptr, 0, &root) >= 0) {
        change(root);
        walk(root);
        root->Release();
    }
    return 0;
}
