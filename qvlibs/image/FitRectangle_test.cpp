#include "qvlibs/image/CanvasRectangles.h"
#include "qvlibs/image/FitRectangle.h"
#include "qvlibs/image/FixedTable.h"

#include <gtest/gtest.h>

#include <ostream>

static std::ostream& operator<<(std::ostream& out, const RECT& rect) {
    return out << rect.left << "," << rect.top << "," << rect.right << "," << rect.bottom;
}

namespace {

DIB_TYPE type(int value) { return static_cast<DIB_TYPE>(value); }

} // namespace

TEST(FitRectangle, AutomaticTypesGoByTheSize) {
    const struct {
        int width, height, type;
    } rows[] = {
        {720, 480, 1}, {640, 480, 1},   {704, 480, 1}, {360, 240, 1}, {320, 240, 1}, {180, 120, 1},
        {768, 576, 1}, {176, 144, 1},   {352, 576, 1}, {352, 480, 1}, {352, 240, 1}, {720, 576, 1},
        {800, 600, 4}, {1440, 1080, 4}, {88, 60, 4},   {352, 400, 4}, {0, 480, 4},
    };
    for (const auto& row : rows) {
        for (const int automatic : {0, 5}) {
            EXPECT_EQ(qv::resolveType(type(automatic), {row.width, row.height}), row.type)
                << row.width << "x" << row.height;
        }
        EXPECT_EQ(qv::resolveType(type(9), {row.width, row.height}), 9);
    }
}

TEST(FitRectangle, TypesMustFitTheSize) {
    const struct {
        int type, width, height;
        bool valid;
    } rows[] = {
        {6, 720, 480, true}, {6, 720, 400, false}, {7, 720, 576, true}, {7, 720, 575, false},
        {4, 0, 10, false},   {4, 10, -1, false},   {99, 10, 10, true},  {3, 1, 1, true},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(qv::shapeOf(type(row.type), {row.width, row.height}).has_value(), row.valid) << row.type;
    }
    EXPECT_EQ(qv::shapeOf(type(6), {720, 480})->usedHeight, 1.0);
}

TEST(FitRectangle, PartsForEveryOption) {
    const struct {
        SIZE from;
        int fromType;
        SIZE to;
        int toType;
        int option;
        RECT source, destination;
    } rows[] = {
        {{720, 480}, 1, {320, 180}, 2, 1, {0, 0, 720, 480}, {40, 0, 280, 180}},
        {{720, 480}, 2, {160, 120}, 4, 1, {0, 0, 720, 480}, {0, 15, 160, 105}},
        {{720, 480}, 3, {160, 90}, 4, 1, {0, 60, 720, 420}, {0, 0, 160, 90}},
        {{1000, 10}, 4, {100, 100}, 4, 1, {0, 0, 1000, 10}, {0, 49, 100, 50}},
        {{100000, 10}, 4, {100, 100}, 4, 1, {0, 0, 100000, 10}, {0, 49, 100, 50}}, // never less than a row
        {{640, 480}, 4, {320, 180}, 4, -1, {0, 60, 640, 420}, {0, 0, 320, 180}},
        {{640, 480}, 4, {180, 320}, 4, -1, {185, 0, 455, 480}, {0, 0, 180, 320}},
        {{640, 480}, 4, {100, 7}, 4, 0, {0, 0, 640, 480}, {0, 0, 100, 7}},
        {{640, 480}, 4, {720, 480}, 3, 0, {0, 0, 640, 480}, {0, 60, 720, 420}},
        {{640, 480}, 4, {160, 120}, 4, 1, {0, 0, 640, 480}, {0, 0, 160, 120}},
        {{160, 120}, 1, {1558, 666}, 2, 1, {0, 0, 160, 120}, {194, 0, 1363, 666}}, // another order of the
                                                                                   // products: 1168 wide
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message()
                     << row.from.cx << "x" << row.from.cy << " to " << row.to.cx << "x" << row.to.cy);
        const auto parts = qv::fitRectangles(row.from, type(row.fromType), row.to, type(row.toType),
                                             static_cast<RESIZE_OPTION>(row.option));
        ASSERT_TRUE(parts);
        EXPECT_EQ(parts->source, row.source);
        EXPECT_EQ(parts->destination, row.destination);
    }
    EXPECT_FALSE(qv::fitRectangles({9, 9}, type(4), {9, 9}, type(4), static_cast<RESIZE_OPTION>(2)));
    EXPECT_FALSE(qv::fitRectangles({720, 400}, type(6), {9, 9}, type(4), RESIZE_OPTION_FIT));
}

TEST(FixedTable, Places) {
    const struct {
        SIZE from, to;
        int option;
        RECT part;
        bool clears;
    } rows[] = {
        {{720, 480}, {160, 120}, 1, {0, 0, 160, 120}, false},
        {{88, 72}, {800, 20}, 2, {0, 0, 800, 20}, false},
        {{640, 480}, {360, 288}, 1, {0, 0, 360, 288}, false},
        {{640, 480}, {720, 400}, 1, {93, 0, 626, 400}, true}, // 720 wide needs a frame's height
        {{704, 480}, {352, 480}, 1, {0, 6, 352, 474}, true},
        {{704, 480}, {360, 288}, 1, {0, 35, 360, 253}, true},
        {{704, 480}, {480, 480}, 1, {0, 22, 480, 458}, true},
        {{704, 480}, {300, 480}, 0, {0, 0, 300, 480}, false},
        {{352, 480}, {720, 480}, 7, {0, 0, 352, 480}, true},
        {{720, 480}, {720, 480}, 4, {0, 0, 720, 480}, true},
        {{720, 480}, {720, 576}, 9, {0, 0, 720, 576}, true},
        {{800, 600}, {320, 180}, 1, {40, 0, 280, 180}, true},
        {{800, 600}, {200, 300}, 10, {0, 75, 200, 225}, true},
        {{800, 600}, {400, 300}, 1, {0, 0, 400, 300}, false},
        {{400, 300}, {100, 300}, 5, {0, 77, 100, 223}, true}, // 73 rows, doubled after the cut
        {{400, 300},
         {300, 400},
         5,
         {13, 0, 286, 400},
         true}, // a letterbox, but more than half as wide: halved
        {{800, 600}, {320, 180}, 3, {47, 0, 272, 180}, true},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.from.cx << "x" << row.from.cy << " to " << row.to.cx << "x"
                                        << row.to.cy << " option " << row.option);
        const auto place = qv::fixedPlace(row.from, row.to, 24, row.option);
        ASSERT_TRUE(place);
        EXPECT_EQ(place->part, row.part);
        EXPECT_EQ(place->clears, row.clears);
    }
    EXPECT_FALSE(qv::fixedPlace({720, 480}, {90, 60}, 24, 1)); // padded rows
    EXPECT_FALSE(qv::fixedPlace({720, 480}, {160, 120}, 4, 1));
}

TEST(FixedTable, BandsTakeTheWidthOfTheSource) {
    EXPECT_EQ(qv::fixedPlace({800, 600}, {400, 300}, 24, 4)->part, (RECT{0, 0, 800, 300}));
    EXPECT_EQ(qv::fixedPlace({200, 150}, {400, 300}, 24, 9)->part, (RECT{0, 70, 200, 230}));
}

TEST(CanvasRectangles, AdjustmentsAddUp) {
    const SIZE frame{720, 480};
    const struct {
        int fromType, toType, fromDisplay, toDisplay;
        LONG crop;
        RECT source, destination;
    } rows[] = {
        {1, 2, 0, 0, 0, {0, 0, 720, 480}, {90, 0, 630, 480}},
        {2, 1, 0, 0, 0, {0, 0, 720, 480}, {0, 60, 720, 420}},
        {1, 3, 0, 0, 0, {0, 0, 720, 480}, {90, 60, 630, 420}},
        {3, 2, 0, 0, 0, {0, 60, 720, 420}, {0, 0, 720, 480}},
        {3, 1, 0, 0, 0, {0, 0, 720, 480}, {0, 0, 720, 480}},
        {1, 2, 2, 1, 0, {0, 0, 720, 480}, {94, 0, 626, 480}},
        {1, 2, 1, 2, 0, {0, 0, 720, 480}, {92, 0, 628, 480}},
        {1, 1, 2, 1, 0, {0, 0, 720, 480}, {8, 0, 712, 480}},
        {1, 1, 1, 2, 0, {8, 0, 712, 480}, {0, 0, 720, 480}},
        {1, 1, 3, 1, 704, {8, 0, 712, 480}, {0, 0, 720, 480}},
        {1, 1, 3, 1, 9999, {0, 0, 720, 480}, {0, 0, 720, 480}},
        {1, 1, 3, 1, 0, {359, 0, 361, 480}, {0, 0, 720, 480}}, // never an empty source
        {1, 2, 3, 2, 704, {8, 0, 712, 480}, {92, 0, 628, 480}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.fromType << " to " << row.toType << ", displays "
                                        << row.fromDisplay << " to " << row.toDisplay);
        const auto parts = qv::canvasRectangles(
            {frame, type(row.toType), static_cast<DISP_TYPE>(row.toDisplay)},
            {frame, type(row.fromType), static_cast<DISP_TYPE>(row.fromDisplay)}, row.crop);
        EXPECT_EQ(parts.source, row.source);
        EXPECT_EQ(parts.destination, row.destination);
    }
}
