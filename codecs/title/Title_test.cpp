// Titles: the forms as text, and pictures through the library and the shipped module.
#include "codecs/common/Text.h"
#include "codecs/title/TitleScript.h"
#include "qvlibs/framework/MediaHeaders.h"
#include "qvlibs/plugins/PluginInfo.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <map>
#include <memory>
#include <sstream>

namespace fs = std::filesystem;
using namespace qv::codec;

namespace {

const std::string kForm =
    "; a comment\n"
    "[Title]\nSize=720x480\nFrames=100\nKey=#102030\n"
    "[Line]\nText=Our summer\\nat the lake\nHeight=60\nColour=#FFCC00\nOutline=3 #800000\n"
    "Position=360,240\nAnchor=5\nFrom=10\nTo=79\nFadeIn=15\nFadeOut=30\n";

// The events of a script: start and end in ms, and text without commands.
struct Event {
    long long start, end;
    std::string text;
};
std::vector<Event> eventsOf(const std::string& ass) {
    std::vector<Event> events;
    std::istringstream in(ass);
    for (std::string line; std::getline(in, line);) {
        int layer = 0, h[2], m[2], s[2], c[2];
        if (std::sscanf(line.c_str(), "Dialogue: %d,%d:%d:%d.%d,%d:%d:%d.%d,", &layer, &h[0], &m[0], &s[0],
                        &c[0], &h[1], &m[1], &s[1], &c[1]) != 9)
            continue;
        const auto ms = [&](int i) { return ((h[i] * 60LL + m[i]) * 60 + s[i]) * 1000 + c[i] * 10LL; };
        const auto text = line.find(",,0,0,0,,");
        events.push_back({ms(0), ms(1), text == std::string::npos ? "" : line.substr(text + 9)});
    }
    return events;
}

class Title {
public:
    explicit Title(const fs::path& path) : plugin_(LoadTitleCodecPlugIn(path.c_str())) {
        if (plugin_) ticket_ = plugin_->OpenR(path.c_str(), 0);
    }
    ~Title() {
        if (ticket_) plugin_->CloseR(ticket_);
    }
    Title(const Title&) = delete;
    Title& operator=(const Title&) = delete;
    explicit operator bool() const { return ticket_ != 0; }
    CPluginInfo& plugin() { return *plugin_; }
    ULONG ticket() const { return ticket_; }
    void resize(int width, int height) { EXPECT_EQ(plugin_->SetDibSize(ticket_, width, height), 0u); }
    // The picture in a block of its exact size.
    std::vector<BYTE> picture(LONG frame) {
        BITMAPINFOHEADER format{};
        EXPECT_EQ(plugin_->GetVideoFormat(ticket_, &format), 0u);
        std::vector<BYTE> bits(format.biSizeImage, 0xAA);
        EXPECT_EQ(plugin_->GetDib(ticket_, frame, bits.data()), 0u);
        return bits;
    }

private:
    std::unique_ptr<CPluginInfo> plugin_;
    ULONG ticket_ = 0;
};

fs::path fileOf(const std::string& name, const std::string& bytes) {
    const fs::path path = qv::test::home() / name;
    qv::test::writeFile(path, bytes);
    return path;
}

// How many pixels of 24 bits are nearly this colour, and where they lie.
struct Found {
    int count = 0, left = 1 << 20, right = -1, bottom = 1 << 20, top = -1;
};
Found find(const std::vector<BYTE>& bits, int width, int height, std::array<int, 3> bgr, int tolerance = 8) {
    Found found;
    const size_t pitch = (static_cast<size_t>(width) * 3 + 3) / 4 * 4;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const BYTE* p = &bits[pitch * static_cast<size_t>(y) + 3 * static_cast<size_t>(x)];
            bool same = true;
            for (size_t i = 0; i < 3; ++i) same = same && std::abs(p[i] - bgr[i]) <= tolerance;
            if (!same) continue;
            ++found.count;
            found.left = std::min(found.left, x);
            found.right = std::max(found.right, x);
            found.bottom = std::min(found.bottom, y);
            found.top = std::max(found.top, y);
        }
    }
    return found;
}

constexpr std::array<int, 3> kYellow = {0, 0xCC, 0xFF}, kKey = {0x30, 0x20, 0x10};

} // namespace

TEST(Title, FormSaysSizeLengthAndLines) {
    const auto title = readTitle(kForm);
    ASSERT_TRUE(title);
    EXPECT_EQ(title->width, 720);
    EXPECT_EQ(title->height, 480);
    EXPECT_EQ(title->frames, 100);
    EXPECT_EQ(title->rate.rate, 30000);
    EXPECT_EQ(title->key, 0x102030u);
    const auto events = eventsOf(title->ass);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].start, 330) << "frame 10 starts at 333 ms";
    EXPECT_EQ(events[0].end, 2660) << "frame 80 starts at 2669 ms";
    EXPECT_EQ(events[0].text,
              "{\\an5\\pos(360,240)\\fnsans-serif\\fs60\\b0\\i0\\c&H0000CCFF&\\3c&H00000080&\\bord3"
              "\\fad(500,1001)}Our summer\\Nat the lake");
    const auto pal = readTitle("[Title]\nSize=720x576\n[Line]\nText=x\nTo=49\n");
    ASSERT_TRUE(pal);
    EXPECT_EQ(pal->milliseconds, 2000);
    EXPECT_EQ(readTitle("[Title]\nRate=25/1\n")->frames, 125) << "five seconds where nothing says how long";
    EXPECT_TRUE(eventsOf(readTitle("[Title]\nFrames=5\n[Line]\nText=x\nFrom=5\n")->ass).empty());
}

TEST(Title, TextCannotBecomeCommands) {
    const auto title = readTitle("[Title]\n[Line]\nText={\\pos(1,1)}a\\\\Nb\\nc\nFont=x,y\n");
    ASSERT_TRUE(title);
    const auto events = eventsOf(title->ass);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_NE(events[0].text.find("\\fnx y\\fs"), std::string::npos);
    EXPECT_TRUE(events[0].text.ends_with("}\\{pos(1,1)\\}a\\\xE2\x81\xA0Nb\\Nc")) << events[0].text;
}

TEST(Title, DamagedFormsAreRefused) {
    for (const char* bad :
         {"", "Size=1x1\n", "[Line]\nText=x\n", "[Title]\nSize=0x480\n", "[Title]\nSize=720\n",
          "[Title]\nSize=9000x1\n", "[Title]\nKey=red\n", "[Title]\nKey=#12345G\n", "[Title]\nFrames=0\n",
          "[Title]\nRate=1/0\n", "[Title]\nnonsense\n", "[Title]\n[Line]\nAnchor=10\n",
          "[Title]\n[Line]\nOutline=-1\n", "[Title]\n[Line]\nFrom=99999999999\n", "[Title]\n[Title]\n",
          "[Title]\n\x01[Other]\n"})
        EXPECT_FALSE(readTitle(bad)) << bad;
    EXPECT_FALSE(readTitle(std::string("[Title]\n\0x=1\n", 13)));
    EXPECT_FALSE(readTitle("[Title]\n" + std::string(kMaxTitleBytes, '\n')));
    EXPECT_TRUE(readTitle("[Title]\nLater=unknown\n")) << "names of later forms are passed over";
    for (size_t size = 0; size < kForm.size(); ++size) static_cast<void>(readTitle(kForm.substr(0, size)));
}

TEST(Title, SubRipKeepsTimesTagsAndPlaces) {
    const auto title =
        readTitle("\xEF\xBB\xBF"
                  "1\r\n00:00:01,500 --> 00:00:02,750 X1:0\r\n<i>Slanted</i> & <b>bold</b>\r\n"
                  "{\\an8}top {\\fs99}{plain}\r\n\r\n"
                  "2\n0:1:1.5 --> 1:00:00,000\n<font color=\"#FF8000\">x</font> <unknown> 1 < 2\n\n"
                  "3\n-00:00:01,000 --> -00:00:00,500\nnever\n");
    ASSERT_TRUE(title);
    const auto events = eventsOf(title->ass);
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0].start, 1500);
    EXPECT_EQ(events[0].end, 2750);
    EXPECT_EQ(events[0].text, "{\\i1}Slanted{\\i0} & {\\b1}bold{\\b0}\\N{\\an8}top \\{plain\\}");
    EXPECT_EQ(events[1].start, 61000);
    EXPECT_EQ(events[1].text, "{\\c&H000080FF&}x{\\c} <unknown> 1 < 2");
    EXPECT_EQ(title->milliseconds, 3'600'000);
    EXPECT_FALSE(readTitle("no times here\n")) << "words alone are no title";
    EXPECT_FALSE(readTitle("1\n00:00:01 --> 00:00:02\nno milliseconds\n"));
    // Tags that never end: looking for the end of each up to the end of the text would take minutes.
    const std::string open(kMaxTitleBytes - 100, '<');
    EXPECT_TRUE(eventsOf(readTitle("1\n00:00:01,000 --> 00:00:02,000\n" + open)->ass)[0].text == open);
}

TEST(Title, EveryEncodingBecomesUtf8) {
    const struct {
        std::string bytes, text;
    } rows[] = {{"plain", "plain"},
                {"\xEF\xBB\xBF\xC3\xA9", "\xC3\xA9"},
                {"\xE9t\xE9", "\xC3\xA9t\xC3\xA9"},
                {std::string("\xFF\xFE\xE9\0\x3D\xD8\x00\xDE", 8), "\xC3\xA9\xF0\x9F\x98\x80"},
                {std::string("\xFE\xFF\0\xE9\xD8\x3D\xDE\x00", 8), "\xC3\xA9\xF0\x9F\x98\x80"},
                {std::string("\xFE\xFF\xD8\x3D\0a\xDE\0\0", 9), "\xEF\xBF\xBD"
                                                                "a\xEF\xBF\xBD"}};
    for (const auto& row : rows) EXPECT_EQ(toUtf8(row.bytes), row.text);
    EXPECT_EQ(cutUtf8("a\xC3\xA9", 2), "a");
    EXPECT_EQ(cutUtf8("a\xC3\xA9", 3), "a\xC3\xA9");
}

TEST(Title, PicturesShowTheLineInItsPlaceAndTime) {
    Title title(fileOf("a.tte", kForm));
    ASSERT_TRUE(title);
    EXPECT_EQ(title.plugin().GetTotalFrames(title.ticket()), 100u);
    const auto empty = title.picture(9);
    EXPECT_EQ(find(empty, 720, 480, kKey).count, 720 * 480) << "before the line: only the key colour";
    EXPECT_EQ(title.picture(80), empty) << "and after it";
    const auto shown = title.picture(40);
    const Found text = find(shown, 720, 480, kYellow);
    ASSERT_GT(text.count, 2000);
    EXPECT_NEAR((text.left + text.right) / 2, 360, 12);
    EXPECT_NEAR((text.bottom + text.top) / 2, 240, 12) << "counted from the bottom";
    EXPECT_GT(find(shown, 720, 480, {0, 0, 0x80}).count, 500) << "its outline";
    EXPECT_EQ(find(title.picture(12), 720, 480, kYellow).count, 0) << "still faint";
    EXPECT_EQ(title.picture(41), shown) << "nothing changes";
    EXPECT_NE(title.plugin().GetDib(title.ticket(), -1, std::vector<BYTE>(shown.size()).data()), 0u);
}

TEST(Title, SizesAndAlphaAreSet) {
    Title title(fileOf("a.tte", kForm));
    ASSERT_TRUE(title);
    title.resize(181, 120); // rows need padding
    const Found text = find(title.picture(40), 181, 120, kYellow, 40);
    EXPECT_GT(text.count, 50);
    EXPECT_NEAR((text.left + text.right) / 2, 90, 4);
    title.resize(720, -480);
    const auto clear = title.picture(40);
    ASSERT_EQ(clear.size(), 720u * 480 * 4);
    EXPECT_EQ(clear[3], 0) << "nothing stands in the corner";
    int solid = 0, soft = 0;
    for (size_t i = 0; i < clear.size(); i += 4) {
        if (clear[i + 3] == 255 && clear[i] == 0 && clear[i + 1] == 0xCC && clear[i + 2] == 0xFF) ++solid;
        if (clear[i + 3] > 0 && clear[i + 3] < 255) ++soft;
    }
    EXPECT_GT(solid, 2000) << "not premultiplied: the colour is the text's own";
    EXPECT_GT(soft, 100);
    // Over the key colour the two say the same.
    title.resize(720, 480);
    const auto over = title.picture(40);
    for (size_t i = 0; i < 720u * 480; ++i) {
        for (size_t c = 0; c < 3; ++c) {
            const double blended =
                kKey[c] + (clear[4 * i + c] - kKey[c]) * static_cast<double>(clear[4 * i + 3]) / 255.0;
            ASSERT_NEAR(over[3 * i + c], blended, 2.5) << "pixel " << i;
        }
    }
    for (const auto& [width, height] : {std::pair(0, 10), {10, 0}, {9000, 10}, {10, -9000}})
        EXPECT_NE(title.plugin().SetDibSize(title.ticket(), width, height), 0u);
}

TEST(Title, TheRateFollowsTheHeightWhereTheFileSaysNone) {
    Title title(fileOf("a.srt", "1\n00:00:02,000 --> 00:00:04,000\nWords\n"));
    ASSERT_TRUE(title);
    const auto isShown = [&](LONG frame, int width, int height) {
        return find(title.picture(frame), width, height, {255, 255, 255}).count > 0;
    };
    EXPECT_EQ(title.plugin().GetTotalFrames(title.ticket()), 120u);
    EXPECT_FALSE(isShown(59, 720, 480));
    EXPECT_TRUE(isShown(60, 720, 480)) << "2002 ms";
    title.resize(720, 576);
    EXPECT_EQ(title.plugin().GetTotalFrames(title.ticket()), 100u);
    EXPECT_FALSE(isShown(49, 720, 576));
    EXPECT_TRUE(isShown(50, 720, 576));
    EXPECT_FALSE(isShown(100, 720, 576));
}

TEST(Title, OnlyTitlesAreTaken) {
    const struct {
        const char* name;
        std::string bytes;
        bool taken;
    } rows[] = {{"a.tte", kForm, true},
                {"a.TTE", kForm, true},
                {"a.txt", kForm, false},
                {"a.tte", "words\n", false},
                {"a.srt", "", false},
                {"tte", kForm, false},
                {"a.ass", "[Script Info]\n[Events]\n", true},
                {"a.ass", "[Script Info]\n", false}};
    for (const auto& row : rows)
        EXPECT_EQ(static_cast<bool>(Title(fileOf(row.name, row.bytes))), row.taken) << row.name << row.bytes;
    EXPECT_FALSE(Title(qv::test::makeFolder("folder.tte")));
    EXPECT_FALSE(Title(qv::test::home() / "missing.tte"));
}

TEST(Title, RealFilesAgreeWithAnotherReader) {
    QV_NEEDS_MEDIA(media);
    std::map<std::string, std::vector<Event>> expected;
    const auto rows = qv::test::readTable(media / "titles/expected_events.tsv");
    for (size_t i = 1; i < rows.size(); ++i) // file, number, start, end, text
        expected[rows[i][0]].push_back({std::stoll(rows[i][2]), std::stoll(rows[i][3]), rows[i][4]});
    int files = 0;
    for (const auto& [file, wanted] : expected) {
        // Times before zero, and events that end when they start, are read in several ways.
        if (file.find("negative") != std::string::npos || file.find("srt0") != std::string::npos) continue;
        if (!file.ends_with(".srt")) continue;
        SCOPED_TRACE(file);
        const auto title = readTitle(qv::test::readFile(media / "titles" / file));
        ASSERT_TRUE(title);
        const auto events = eventsOf(title->ass);
        constexpr size_t kListed = 40; // of longer files the table holds the first
        ASSERT_TRUE(events.size() == wanted.size() || (events.size() > kListed && wanted.size() == kListed));
        for (size_t i = 0; i < wanted.size(); ++i) {
            EXPECT_EQ(events[i].start, wanted[i].start / 10 * 10);
            EXPECT_EQ(events[i].end, wanted[i].end / 10 * 10);
            if (wanted[i].text.find_first_of("<{\\") != std::string::npos) continue;
            EXPECT_EQ(events[i].text, wanted[i].text);
        }
        ++files;
    }
    EXPECT_GE(files, 6);
    int pictures = 0;
    for (const auto& entry : fs::recursive_directory_iterator(media / "titles")) {
        Title title(entry.path());
        if (!title) continue;
        ++pictures;
        title.resize(360, 240);
        const auto frames = static_cast<LONG>(title.plugin().GetTotalFrames(title.ticket()));
        for (LONG i = 1; i <= 4; ++i) title.picture(frames / 5 * i);
    }
    EXPECT_GE(pictures, 15);
}
