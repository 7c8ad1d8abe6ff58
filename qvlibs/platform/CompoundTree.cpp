// The red-black trees of the directory. Entries know their children only, so a change keeps the path from the
// top; it touches the entries that it must, because each page touched is a page written.
#include "qvlibs/platform/CompoundDirectory.h"
#include "qvlibs/platform/CompoundNames.h"

#include <algorithm>

namespace qv::compound {
namespace {

constexpr size_t kDeepest = 64; // no valid tree of 32-bit numbers is deeper

} // namespace

HRESULT Directory::child(EntryId id, bool right, EntryId& child) {
    Entry entry;
    QV_STG_TRY(read(id, entry));
    child = right ? entry.right() : entry.left();
    return S_OK;
}

HRESULT Directory::setChild(EntryId id, bool right, EntryId child) {
    Entry entry;
    QV_STG_TRY(read(id, entry));
    if ((right ? entry.right() : entry.left()) == child) return S_OK;
    QV_STG_TRY(edit(id, entry));
    if (right)
        entry.setRight(child);
    else
        entry.setLeft(child);
    return S_OK;
}

HRESULT Directory::isRed(EntryId id, bool& red) {
    red = false;
    if (id == kNoEntry) return S_OK;
    Entry entry;
    QV_STG_TRY(read(id, entry));
    red = entry.color() == kRed;
    return S_OK;
}

HRESULT Directory::setColor(EntryId id, Color color) {
    Entry entry;
    QV_STG_TRY(read(id, entry));
    if (entry.color() == color) return S_OK;
    QV_STG_TRY(edit(id, entry));
    entry.setColor(color);
    return S_OK;
}

HRESULT Directory::setTop(EntryId storage, EntryId id) {
    Entry entry;
    QV_STG_TRY(read(storage, entry));
    if (entry.child() == id) return S_OK;
    QV_STG_TRY(edit(storage, entry));
    entry.setChild(id);
    return S_OK;
}

// Puts an entry in the place that `depth` steps of the path lead to.
HRESULT Directory::setBelow(EntryId storage, const Path& path, size_t depth, EntryId id) {
    return depth == 0 ? setTop(storage, id) : setChild(path[depth - 1].id, path[depth - 1].right, id);
}

// Turns the entry at a depth down to one side; its child of the other side takes the place.
HRESULT Directory::rotate(EntryId storage, const Path& path, size_t depth, EntryId id, bool right) {
    EntryId up = kNoEntry, between = kNoEntry;
    QV_STG_TRY(child(id, !right, up));
    if (up == kNoEntry) return STG_E_DOCFILECORRUPT;
    QV_STG_TRY(child(up, right, between));
    QV_STG_TRY(setChild(id, !right, between));
    QV_STG_TRY(setChild(up, right, id));
    return setBelow(storage, path, depth, up);
}

// The path to a name: to its entry, or to the place where it would go (then `id` is kNoEntry).
HRESULT Directory::descend(EntryId storage, std::u16string_view name, Path& path, EntryId& id) {
    Entry entry;
    QV_STG_TRY(read(storage, entry));
    path.clear();
    for (id = entry.child(); id != kNoEntry; id = path.back().right ? entry.right() : entry.left()) {
        QV_STG_TRY(read(id, entry));
        const int order = compareNames(name, entry.name());
        if (order == 0) return S_OK;
        if (path.size() > kDeepest) return STG_E_DOCFILECORRUPT;
        path.push_back({id, order > 0});
    }
    return S_OK;
}

HRESULT Directory::insert(EntryId storage, EntryId id) {
    Entry entry;
    QV_STG_TRY(read(id, entry));
    Path path;
    EntryId same = kNoEntry;
    QV_STG_TRY(descend(storage, entry.name(), path, same));
    if (same != kNoEntry) return STG_E_FILEALREADYEXISTS;
    QV_STG_TRY(edit(id, entry));
    entry.setColor(kRed);
    entry.setLeft(kNoEntry);
    entry.setRight(kNoEntry);
    QV_STG_TRY(setBelow(storage, path, path.size(), id));
    if (!claim(storage, id)) return STG_E_DOCFILECORRUPT;
    return fixInserted(storage, path, id);
}

HRESULT Directory::fixInserted(EntryId storage, Path& path, EntryId id) {
    while (path.size() >= 2) {
        const Step parent = path.back(), grand = path[path.size() - 2];
        bool red = false;
        QV_STG_TRY(isRed(parent.id, red));
        if (!red) return S_OK;
        EntryId uncle = kNoEntry;
        QV_STG_TRY(child(grand.id, !grand.right, uncle));
        QV_STG_TRY(isRed(uncle, red));
        if (red) {
            QV_STG_TRY(setColor(parent.id, kBlack));
            QV_STG_TRY(setColor(uncle, kBlack));
            QV_STG_TRY(setColor(grand.id, kRed));
            id = grand.id;
            path.resize(path.size() - 2);
            continue;
        }
        EntryId middle = parent.id;
        if (parent.right != grand.right) {
            QV_STG_TRY(rotate(storage, path, path.size() - 1, parent.id, grand.right));
            middle = id;
        }
        QV_STG_TRY(setColor(middle, kBlack));
        QV_STG_TRY(setColor(grand.id, kRed));
        return rotate(storage, path, path.size() - 2, grand.id, !grand.right);
    }
    // The topmost entry is black.
    return setColor(path.empty() ? id : path.front().id, kBlack);
}

// Takes an entry out of its place at the end of the path. The path then leads to the gap, which `below` fills;
// `wasBlack` says that a black entry is missing there.
HRESULT Directory::unlink(EntryId storage, Path& path, EntryId id, EntryId& below, bool& wasBlack) {
    Entry entry;
    QV_STG_TRY(read(id, entry));
    const EntryId left = entry.left(), right = entry.right();
    const Color color = entry.color();
    const size_t depth = path.size();
    if (left == kNoEntry || right == kNoEntry) {
        below = left == kNoEntry ? right : left;
        wasBlack = color == kBlack;
        return setBelow(storage, path, depth, below);
    }
    // The next entry in order takes the place; the gap is where that one was.
    path.push_back({id, true});
    EntryId heir = right;
    QV_STG_TRY(read(heir, entry));
    while (entry.left() != kNoEntry) {
        if (path.size() > 2 * kDeepest) return STG_E_DOCFILECORRUPT;
        path.push_back({heir, false});
        heir = entry.left();
        QV_STG_TRY(read(heir, entry));
    }
    wasBlack = entry.color() == kBlack;
    below = entry.right();
    QV_STG_TRY(setBelow(storage, path, path.size(), below));
    EntryId newRight = kNoEntry; // changed by the line above when the heir is the right child itself
    QV_STG_TRY(child(id, true, newRight));
    QV_STG_TRY(setChild(heir, false, left));
    QV_STG_TRY(setChild(heir, true, newRight));
    QV_STG_TRY(setColor(heir, color));
    QV_STG_TRY(setBelow(storage, path, depth, heir));
    path[depth].id = heir;
    return S_OK;
}

HRESULT Directory::remove(EntryId storage, EntryId id) {
    Entry entry;
    QV_STG_TRY(read(id, entry));
    Path path;
    EntryId found = kNoEntry;
    QV_STG_TRY(descend(storage, entry.name(), path, found));
    if (found != id) return STG_E_DOCFILECORRUPT;
    EntryId below = kNoEntry;
    bool wasBlack = false, red = false;
    QV_STG_TRY(unlink(storage, path, id, below, wasBlack));
    if (id < owners_.size()) owners_[id] = kNoEntry;
    if (!wasBlack) return S_OK;
    QV_STG_TRY(isRed(below, red));
    return red ? setColor(below, kBlack) : fixRemoved(storage, path);
}

// One black entry too few at the end of the path: taken from the sibling's side, or passed upwards.
HRESULT Directory::fixRemoved(EntryId storage, Path& path) {
    while (!path.empty()) {
        const EntryId parent = path.back().id;
        const bool right = path.back().right;
        EntryId sibling = kNoEntry, near = kNoEntry, far = kNoEntry;
        bool siblingRed = false, nearRed = false, farRed = false, parentRed = false;
        QV_STG_TRY(child(parent, !right, sibling));
        QV_STG_TRY(isRed(sibling, siblingRed));
        if (siblingRed) {
            QV_STG_TRY(setColor(sibling, kBlack));
            QV_STG_TRY(setColor(parent, kRed));
            QV_STG_TRY(rotate(storage, path, path.size() - 1, parent, right));
            path.back().id = sibling;
            path.push_back({parent, right});
            QV_STG_TRY(child(parent, !right, sibling));
        }
        if (sibling == kNoEntry) return STG_E_DOCFILECORRUPT;
        QV_STG_TRY(child(sibling, right, near));
        QV_STG_TRY(child(sibling, !right, far));
        QV_STG_TRY(isRed(near, nearRed));
        QV_STG_TRY(isRed(far, farRed));
        QV_STG_TRY(isRed(parent, parentRed));
        if (!nearRed && !farRed) {
            QV_STG_TRY(setColor(sibling, kRed));
            if (parentRed) return setColor(parent, kBlack);
            path.pop_back();
            continue;
        }
        if (!farRed) {
            path.back().right = !right; // the path to the sibling, for the turn
            QV_STG_TRY(rotate(storage, path, path.size(), sibling, !right));
            far = sibling;
            sibling = near;
        }
        QV_STG_TRY(setColor(sibling, parentRed ? kRed : kBlack));
        QV_STG_TRY(setColor(parent, kBlack));
        QV_STG_TRY(setColor(far, kBlack));
        return rotate(storage, path, path.size() - 1, parent, right);
    }
    return S_OK;
}

HRESULT Directory::isValidTree(EntryId storage, bool& valid) {
    Entry entry;
    QV_STG_TRY(read(storage, entry));
    int blackHeight = 0;
    bool red = false;
    last_ = kNoEntry;
    valid = true;
    const EntryId top = entry.child();
    std::uint64_t entries = 0;
    QV_STG_TRY(count(entries));
    if (top >= entries) {
        valid = top == kNoEntry;
        return S_OK;
    }
    QV_STG_TRY(isRed(top, red));
    valid = !red;
    return valid ? measure(storage, top, 0, blackHeight, valid) : S_OK;
}

// One subtree: in order after what was measured last, no red under red, as many blacks on every way down.
HRESULT Directory::measure(EntryId storage, EntryId id, size_t depth, int& blackHeight, bool& valid) {
    blackHeight = 0;
    if (id == kNoEntry) return S_OK;
    std::uint64_t entries = 0;
    QV_STG_TRY(count(entries));
    valid = valid && depth <= kDeepest && id < entries && claim(storage, id);
    if (!valid) return S_OK;
    Entry entry;
    QV_STG_TRY(read(id, entry));
    const EntryId left = entry.left(), right = entry.right();
    int leftHeight = 0, rightHeight = 0;
    QV_STG_TRY(measure(storage, left, depth + 1, leftHeight, valid));
    if (!valid) return S_OK;
    if (last_ != kNoEntry) {
        Entry before;
        QV_STG_TRY(read(last_, before));
        valid = compareNames(before.name(), entry.name()) < 0;
    }
    last_ = id;
    bool leftRed = false, rightRed = false;
    QV_STG_TRY(measure(storage, right, depth + 1, rightHeight, valid));
    if (!valid) return S_OK;
    QV_STG_TRY(isRed(left, leftRed));
    QV_STG_TRY(isRed(right, rightRed));
    const bool red = entry.color() == kRed;
    valid = entry.isElement() && entry.color() <= kBlack && leftHeight == rightHeight &&
            !(red && (leftRed || rightRed));
    blackHeight = leftHeight + (red ? 0 : 1);
    return S_OK;
}

HRESULT Directory::sortByName(std::vector<EntryId>& ids) {
    std::vector<std::pair<std::u16string, EntryId>> named;
    for (const EntryId id : ids) {
        Entry entry;
        QV_STG_TRY(read(id, entry));
        named.emplace_back(entry.name(), id);
    }
    std::sort(named.begin(), named.end(),
              [](const auto& a, const auto& b) { return compareNames(a.first, b.first) < 0; });
    for (size_t i = 0; i < named.size(); ++i) {
        if (i > 0 && compareNames(named[i - 1].first, named[i].first) == 0) return STG_E_DOCFILECORRUPT;
        ids[i] = named[i].second;
    }
    return S_OK;
}

HRESULT Directory::rebuild(EntryId storage) {
    std::vector<EntryId> ids;
    QV_STG_TRY(list(storage, ids));
    QV_STG_TRY(sortByName(ids));
    int blackLevels = 0;
    while ((2ull << blackLevels) - 1 <= ids.size()) ++blackLevels;
    EntryId top = kNoEntry;
    QV_STG_TRY(build(ids, 0, ids.size(), blackLevels, top));
    return setTop(storage, top);
}

// A tree whose levels are full and black, but for a last one of red entries.
HRESULT Directory::build(const std::vector<EntryId>& ids, size_t from, size_t to, int blackLevels,
                         EntryId& top) {
    top = kNoEntry;
    if (from == to) return S_OK;
    const size_t middle = from + (to - from) / 2;
    EntryId left = kNoEntry, right = kNoEntry;
    QV_STG_TRY(build(ids, from, middle, blackLevels - 1, left));
    QV_STG_TRY(build(ids, middle + 1, to, blackLevels - 1, right));
    top = ids[middle];
    QV_STG_TRY(setChild(top, false, left));
    QV_STG_TRY(setChild(top, true, right));
    return setColor(top, blackLevels > 0 ? kBlack : kRed);
}

} // namespace qv::compound
