#include "qvlibs/media/DvSplit.h"

#include "qvlibs/util/AtomicFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <deque>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace qv {

namespace {

class Checksum {
public:
    Checksum() { XXH3_128bits_reset(&state_); }
    void add(const void* bytes, size_t count) { XXH3_128bits_update(&state_, bytes, count); }
    std::string text() const {
        XXH128_canonical_t canonical;
        XXH128_canonicalFromHash(&canonical, XXH3_128bits_digest(&state_));
        std::string digits;
        for (const unsigned char byte : canonical.digest) {
            char pair[3];
            std::snprintf(pair, sizeof pair, "%02x", byte);
            digits += pair;
        }
        return digits;
    }

private:
    XXH3_state_t state_;
};

std::string partName(const DvScene& scene) {
    char text[64];
    if (!scene.firstRecorded) {
        std::snprintf(text, sizeof text, "undated_part%03d.dv", static_cast<int>(scene.number));
        return text;
    }
    const auto& [date, clock] = *scene.firstRecorded;
    std::snprintf(text, sizeof text, "%04d-%02d-%02d_%02d-%02d-%02d_part%03d.dv", date.year, date.month,
                  date.day, clock.hours, clock.minutes, clock.seconds, static_cast<int>(scene.number));
    return text;
}

} // namespace

struct DvSplit::State {
    std::string folder, making; // where the parts will be, and where they are made
    int error = 0;
    std::string errorPath;
    bool isNewFolder = false, isPublished = false;

    std::deque<std::vector<BYTE>> undecided;
    std::vector<std::vector<BYTE>> spare; // blocks to use again
    std::vector<Part> parts;
    std::int64_t named = 0; // parts whose scenes are known
    int descriptor = -1;    // of the last part
    Checksum written;
    std::string checksum;

    bool fail(int reason, const std::string& path) {
        if (!error) {
            error = reason;
            errorPath = path;
        }
        return false;
    }
    std::string temporary(size_t part) const { return making + "/" + std::to_string(part); }

    void closePart() {
        if (descriptor >= 0 && close(descriptor) != 0) fail(errno, temporary(parts.size() - 1));
        descriptor = -1;
    }

    void openPart() {
        closePart();
        parts.push_back({});
        const std::string path = temporary(parts.size() - 1);
        descriptor = ::open(path.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0666);
        if (descriptor < 0) fail(errno, path);
    }

    void write(const std::vector<BYTE>& bytes) {
        for (size_t done = 0; done < bytes.size() && !error;) {
            const ssize_t put = ::write(descriptor, bytes.data() + done, bytes.size() - done);
            if (put < 0 && errno != EINTR) fail(errno, temporary(parts.size() - 1));
            if (put > 0) done += static_cast<size_t>(put);
        }
        written.add(bytes.data(), bytes.size());
        parts.back().frames += 1;
        parts.back().bytes += static_cast<std::int64_t>(bytes.size());
    }

    bool readBack(const std::function<bool()>& isStopped) {
        Checksum read;
        std::vector<BYTE> block(1 << 20);
        for (size_t i = 0; i < parts.size(); ++i) {
            const int file = ::open(temporary(i).c_str(), O_RDONLY | O_CLOEXEC);
            if (file < 0) return fail(errno, temporary(i));
            ssize_t got = 0;
            while (!(isStopped && isStopped()) && (got = ::read(file, block.data(), block.size())) > 0)
                read.add(block.data(), static_cast<size_t>(got));
            const int reason = isStopped && isStopped() ? EINTR : got < 0 ? errno : 0;
            close(file);
            if (reason) return fail(reason, temporary(i));
        }
        checksum = written.text();
        return read.text() == checksum || fail(EILSEQ, making);
    }

    // A link under the final name refuses a name that is taken, and can be taken back.
    bool publish() {
        size_t linked = 0;
        for (; linked < parts.size(); ++linked) {
            const std::string target = folder + "/" + parts[linked].name.GetString();
            if (placeNew(temporary(linked).c_str(), target.c_str())) continue;
            fail(errno, target);
            break;
        }
        if (!error) return true;
        while (linked > 0) unlink((folder + "/" + parts[--linked].name.GetString()).c_str());
        return false;
    }

    void removeTemporaries() {
        closePart();
        if (making.empty()) return;
        for (size_t i = 0; i < parts.size(); ++i) unlink(temporary(i).c_str());
        rmdir(making.c_str());
        making.clear();
    }
};

DvSplit::DvSplit(const char* folder) : state_(std::make_unique<State>()) {
    State& s = *state_;
    s.folder = folder;
    s.isNewFolder = mkdir(folder, 0777) == 0;
    if (!s.isNewFolder && errno != EEXIST) {
        s.fail(errno, s.folder);
        return;
    }
    std::string pattern = s.folder + "/.qv-split-XXXXXX";
    if (mkdtemp(pattern.data()))
        s.making = pattern;
    else
        s.fail(errno, s.folder);
}

DvSplit::~DvSplit() {
    state_->removeTemporaries();
    // Without parts it is empty, unless somebody else put something there.
    if (state_->isNewFolder && !state_->isPublished) rmdir(state_->folder.c_str());
}

int DvSplit::error() const { return state_->error; }
CString DvSplit::errorPath() const { return state_->errorPath; }
const std::vector<DvSplit::Part>& DvSplit::parts() const { return state_->parts; }
CString DvSplit::checksum() const { return state_->checksum; }

void DvSplit::keep(std::span<const BYTE> frame) {
    State& s = *state_;
    if (s.error) return;
    std::vector<BYTE> block;
    if (!s.spare.empty()) {
        block = std::move(s.spare.back());
        s.spare.pop_back();
    }
    block.assign(frame.begin(), frame.end());
    s.undecided.push_back(std::move(block));
}

void DvSplit::decide(bool starts) {
    State& s = *state_;
    if (s.error || s.undecided.empty()) return;
    if (starts) s.openPart();
    if (!s.error) s.write(s.undecided.front());
    s.spare.push_back(std::move(s.undecided.front()));
    s.undecided.pop_front();
}

void DvSplit::name(const DvScene& scene) {
    State& s = *state_;
    if (!s.error) s.parts.at(static_cast<size_t>(s.named++)).name = partName(scene);
}

bool DvSplit::finish(const std::function<bool()>& isStopped) {
    State& s = *state_;
    s.closePart();
    const bool done = !s.error && s.readBack(isStopped) && s.publish();
    s.isPublished = done;
    s.removeTemporaries();
    if (!done) s.parts.clear();
    return done;
}

} // namespace qv
