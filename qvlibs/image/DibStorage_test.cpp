#include "qvlibs/framework/Messages.h"
#include "qvlibs/framework/Status.h"
#include "qvlibs/image/QVDib.h"
#include "qvlibs/platform/CompoundTest.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <cstring>

using namespace qv::test;

namespace {

std::string storePath() { return (home() / "pictures.stg").string(); }

// A picture with pixels of its own.
void fill(CQVDIB& picture, CSize size, int bits, unsigned seed) {
    ASSERT_EQ(picture.Init(size, bits, nullptr), QV_OK);
    auto* pixels = new unsigned char[picture.GetSizeImage()];
    const std::string bytes = pattern(picture.GetSizeImage(), seed);
    std::memcpy(pixels, bytes.data(), bytes.size());
    ASSERT_EQ(picture.Init(size, bits, pixels), QV_OK);
    const std::string colors = pattern(picture.GetSizeHeader() - 40, seed + 1);
    if (bits <= 8) std::memcpy(picture.GetBitmapInfoAddress() + 1, colors.data(), colors.size());
}

std::string bytesOf(const CQVDIB& picture) {
    std::string bytes(reinterpret_cast<const char*>(picture.GetBitmapInfoAddress()), picture.GetSizeHeader());
    return bytes.append(reinterpret_cast<const char*>(picture.GetBitsAddress()), picture.GetSizeImage());
}

std::string number(LONG value) { return {reinterpret_cast<const char*>(&value), 4}; }

// The streams of an element, changed directly.
struct Element {
    Storage root, storage;
    explicit Element(const char* name) : root(openFile(storePath())) {
        root->OpenStorage(name, nullptr, kReadWrite, nullptr, 0, storage.out());
    }
    ~Element() { storage.reset(); }
    IStorage* operator->() const { return storage.get(); }
};

class DibStorage : public testing::Test {
protected:
    void SetUp() override {
        root = createFile(storePath());
        ASSERT_NO_FATAL_FAILURE(fill(picture, CSize(5, 4), 24, 1));
    }
    // One stored picture, the file closed.
    void storeOne() {
        ASSERT_EQ(picture.WriteToStg(root.get(), "one", 11, 22, 33, 2, 0), QV_OK);
        root.reset();
    }
    Storage root;
    CQVDIB picture;
};

} // namespace

TEST_F(DibStorage, PicturesOfEveryDepthComeBack) {
    for (const int bits : {1, 4, 8, 16, 24, 32}) {
        SCOPED_TRACE(bits);
        CQVDIB stored, read;
        ASSERT_NO_FATAL_FAILURE(fill(stored, CSize(33, 7), bits, static_cast<unsigned>(bits)));
        ASSERT_EQ(stored.WriteToStg(root.get(), "picture", 1, 2, 3, 2, 1), QV_OK);
        ASSERT_EQ(read.ReadFromStg(root.get(), "picture"), QV_OK);
        EXPECT_EQ(bytesOf(read), bytesOf(stored));
    }
}

TEST_F(DibStorage, ElementsHaveTheirFiveStreams) {
    storeOne();
    const Content content = readAll(storePath());
    EXPECT_EQ(content.at("one/time"), number(11));
    EXPECT_EQ(content.at("one/size_low"), number(22));
    EXPECT_EQ(content.at("one/size_high"), number(33));
    EXPECT_EQ(content.at("one/data").size(), 54u + 64u);
    EXPECT_EQ(content.at("one/data").substr(0, 2), "BM");
    EXPECT_EQ(content.at("one/data").substr(10, 4), number(54));
    EXPECT_EQ(content.at("one/data").substr(14), bytesOf(picture));
    EXPECT_EQ(content.size(), 6u);
}

TEST_F(DibStorage, BmpSizeFieldIsImageSizePlus14) {
    storeOne();
    EXPECT_EQ(readAll(storePath()).at("one/data").substr(2, 4), number(64 + 14));
}

TEST_F(DibStorage, InfoIsAlways2) {
    ASSERT_EQ(picture.WriteToStg(root.get(), "seven", 0, 0, 0, 7, 0), QV_OK);
    root.reset();
    EXPECT_EQ(readAll(storePath()).at("seven/info"), number(2));
}

TEST_F(DibStorage, WithoutReplaceAnElementStays) {
    CQVDIB other, read;
    ASSERT_NO_FATAL_FAILURE(fill(other, CSize(8, 8), 24, 9));
    EXPECT_EQ(picture.WriteToStg(root.get(), "One", 1, 0, 0, 2, 0), QV_OK);
    EXPECT_EQ(other.WriteToStg(root.get(), "oNE", 2, 0, 0, 2, 0), QV_FAILED); // names have no case
    ASSERT_EQ(read.ReadFromStg(root.get(), "one"), QV_OK);
    EXPECT_EQ(bytesOf(read), bytesOf(picture));
    EXPECT_EQ(other.WriteToStg(root.get(), "one", 3, 0, 0, 2, 1), QV_OK);
    ASSERT_EQ(read.ReadFromStg(root.get(), "one"), QV_OK);
    EXPECT_EQ(bytesOf(read), bytesOf(other));
}

TEST_F(DibStorage, RefusedBeforeAnythingIsMade) {
    CQVDIB empty, header(CSize(4, 4), 24);
    LONG value = 5;
    EXPECT_EQ(empty.WriteToStg(root.get(), "x", 0, 0, 0, 2, 0), QV_FAILED);
    EXPECT_EQ(header.WriteToStg(root.get(), "x", 0, 0, 0, 2, 0), QV_FAILED);
    for (const char* name : {"", "12345678901234567890123456789012", "a/b", "a\\b", "a:b", "a!", "\xFF"}) {
        EXPECT_EQ(picture.WriteToStg(root.get(), name, 0, 0, 0, 2, 0), QV_FAILED) << name;
        EXPECT_EQ(picture.ReadFromStg(root.get(), name), QV_FAILED) << name;
    }
    for (IStorage* storage : {root.get(), static_cast<IStorage*>(nullptr)}) {
        for (const char* name : {"missing", static_cast<const char*>(nullptr)}) {
            EXPECT_EQ(picture.ReadFromStg(storage, name), QV_FAILED);
            EXPECT_EQ(CQVDIB::DestroyElementStorage(storage, name), QV_FAILED);
            EXPECT_EQ(CQVDIB::ReadFileTimeFromStg(storage, name, &value), QV_FAILED);
            EXPECT_EQ(CQVDIB::ReadFileSizeFromStg(storage, name, value, value), QV_FAILED);
        }
    }
    EXPECT_FALSE(picture.IsEmpty()); // nothing was found, nothing was lost
    EXPECT_EQ(value, 5);
    root.reset();
    EXPECT_EQ(readAll(storePath()), Content());
}

TEST_F(DibStorage, ReadsByTheFormatValue) {
    const struct {
        const char* what;
        std::string info; // empty: no such stream
        bool data;
        ULONG result;
        bool read;
    } rows[] = {
        {"missing info counts as 2", "", true, QV_OK, true},
        {"another format value", number(9), true, QV_OK, true},
        {"a picture of format 1 is not read", number(1), true, QV_OK, false},
        {"format 1 without data", number(1), false, QV_FAILED, false},
        {"no data", number(2), false, QV_FAILED, false},
    };
    storeOne();
    CQVDIB before;
    ASSERT_NO_FATAL_FAILURE(fill(before, CSize(3, 3), 24, 77));
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        {
            const Element element("one");
            element->DestroyElement("info");
            if (!row.info.empty()) {
                ASSERT_EQ(writeStream(element.storage.get(), "info", row.info), S_OK);
            }
            if (!row.data) element->DestroyElement("data");
        }
        CQVDIB read(before);
        const Storage file = openFile(storePath());
        EXPECT_EQ(read.ReadFromStg(file.get(), "one"), row.result);
        EXPECT_EQ(bytesOf(read), row.read ? bytesOf(picture) : bytesOf(before));
        if (!row.data) {
            Storage one;
            file->OpenStorage("one", nullptr, kReadWrite, nullptr, 0, one.out());
            writeStream(one.get(), "data", "BM");
        }
    }
}

TEST_F(DibStorage, DamagedPicturesLeaveTheImageEmpty) {
    storeOne();
    const std::string whole = readAll(storePath()).at("one/data");
    std::vector<std::string> wrong{"XM" + whole.substr(2)};
    for (size_t size = 0; size < whole.size(); ++size) wrong.push_back(whole.substr(0, size));
    for (const unsigned offset : {0u, 13u, 14u, 53u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        wrong.push_back(whole);
        std::memcpy(wrong.back().data() + 10, &offset, 4); // place of the pixels
    }
    for (const unsigned size : {0x7FFFFFFFu, 0xFFFFFFFFu}) {
        wrong.push_back(whole);
        std::memcpy(wrong.back().data() + 34, &size, 4); // size of the pixels
    }
    for (const auto& bytes : wrong) {
        {
            const Element element("one");
            ASSERT_EQ(writeStream(element.storage.get(), "data", bytes), S_OK);
        }
        CQVDIB read(picture);
        const Storage file = openFile(storePath());
        EXPECT_EQ(read.ReadFromStg(file.get(), "one"), QV_FAILED);
        EXPECT_TRUE(read.IsEmpty());
    }
}

TEST_F(DibStorage, TimesAndSizes) {
    ASSERT_EQ(picture.WriteToStg(root.get(), "one", -2, -3, 4, 2, 0), QV_OK);
    LONG time = 0, low = 0, high = 0;
    EXPECT_EQ(CQVDIB::ReadFileTimeFromStg(root.get(), "one", &time), QV_OK);
    EXPECT_EQ(CQVDIB::ReadFileSizeFromStg(root.get(), "one", low, high), QV_OK);
    EXPECT_EQ(time, -2);
    EXPECT_EQ(low, -3);
    EXPECT_EQ(high, 4);
    root.reset();
    {
        const Element element("one");
        ASSERT_EQ(writeStream(element.storage.get(), "time", "\x07\x01"), S_OK);
    }
    const Storage file = openFile(storePath());
    EXPECT_EQ(CQVDIB::ReadFileTimeFromStg(file.get(), "one", &time), QV_OK); // bytes that are missing are 0
    EXPECT_EQ(time, 0x0107);
}

TEST_F(DibStorage, MissingSizeLowLeavesTheValue) {
    storeOne();
    LONG low = 5, high = 6;
    {
        const Element element("one");
        element->DestroyElement("size_low");
    }
    Storage file = openFile(storePath());
    EXPECT_EQ(CQVDIB::ReadFileSizeFromStg(file.get(), "one", low, high), QV_OK);
    EXPECT_EQ(low, 5);
    EXPECT_EQ(high, 33);
    file.reset();
    {
        const Element element("one");
        element->DestroyElement("size_high");
    }
    file = openFile(storePath());
    EXPECT_EQ(CQVDIB::ReadFileSizeFromStg(file.get(), "one", low, high), QV_FAILED);
}

TEST_F(DibStorage, AnElementInUseIsRefused) {
    ASSERT_EQ(picture.WriteToStg(root.get(), "one", 0, 0, 0, 2, 0), QV_OK);
    Storage open;
    ASSERT_EQ(root->OpenStorage("one", nullptr, kRead, nullptr, 0, open.out()), S_OK);
    EXPECT_EQ(picture.ReadFromStg(root.get(), "one"), QV_FAILED);
    EXPECT_EQ(picture.WriteToStg(root.get(), "one", 0, 0, 0, 2, 1), QV_FAILED);
    open.reset();
    EXPECT_EQ(picture.ReadFromStg(root.get(), "one"), QV_OK);
    EXPECT_EQ(CQVDIB::DestroyElementStorage(root.get(), "one"), QV_OK);
    EXPECT_EQ(picture.ReadFromStg(root.get(), "one"), QV_FAILED);
}

TEST_F(DibStorage, ErrorsAreShown) {
    static std::string shown;
    qv::setMessageHandler([](const char* text, const char* caption, qv::MessageKind kind) {
        shown = std::string(caption) + "/" + text;
        EXPECT_EQ(kind, qv::MessageKind::Information);
    });
    EXPECT_EQ(CQVDIB::ErrorMessageBox(STG_E_ACCESSDENIED), QV_OK);
    EXPECT_EQ(shown, "Error/Access is denied.");
    EXPECT_EQ(CQVDIB::ErrorMessageBox(static_cast<LONG>(0x80031234u)), QV_OK);
    EXPECT_EQ(shown, "Error/Unknown status 0x80031234.");
    qv::setMessageHandler(nullptr);
}
