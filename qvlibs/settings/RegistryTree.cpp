// The registry trees of ProfileCtrl.h.
#include "qvlibs/framework/Trace.h"
#include "qvlibs/settings/ProfileCtrl.h"

#include <cstring>

namespace registry = qv::registry;

namespace {

constexpr int kBuffer = 520; // with the zero

std::string_view textOf(const char* text) { return text ? text : ""; }

// A tree in memory: read as a whole before anything is written, so that a tree can be copied into itself.
struct Tree {
    std::string name;
    std::vector<registry::NamedValue> values;
    std::vector<Tree> below;
};

std::string joined(const std::string& path, const std::string& name) {
    return path.empty() ? name : path + "\\" + name;
}

Tree readTree(HKEY root, const std::string& path, std::string name) {
    Tree tree{std::move(name), registry::values(root, path), {}};
    for (auto& child : registry::subKeys(root, path))
        tree.below.push_back(readTree(root, joined(path, child), child));
    return tree;
}

void writeTree(HKEY root, const std::string& path, const Tree& tree) {
    registry::createKey(root, path);
    for (const auto& [name, value] : tree.values)
        registry::writeValue(root, path, name, value.type, value.bytes);
    for (const Tree& child : tree.below) writeTree(root, joined(path, child.name), child);
}

} // namespace

CString QVGetRegValueString(HKEY root, const char* subKey, const char* name) {
    QVTL_TRACE();
    char bytes[kBuffer];
    const int size = registry::readInto(root, textOf(subKey), textOf(name), bytes, kBuffer);
    return size < 0 ? CString() : CString(std::string_view(bytes, strnlen(bytes, static_cast<size_t>(size))));
}

void QVCopyReg(HKEY src, HKEY dst, const char* srcSub, const char* dstSub, int create) {
    QVTL_TRACE();
    if (!src || !dst) return;
    const std::string from(textOf(srcSub));
    registry::Transaction whole(registry::Transaction::Writing);
    if (!registry::keyExists(src, from)) return;
    writeTree(dst, create ? std::string(dstSub ? dstSub : from) : std::string(), readTree(src, from, ""));
    static_cast<void>(whole.commit()); // the interface has no result for it
}

int QVDeleteReg(HKEY root, const char* subKey) {
    QVTL_TRACE();
    return registry::deleteTree(root, textOf(subKey));
}
