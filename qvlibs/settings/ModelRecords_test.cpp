#include "qvlibs/settings/ModelRecords.h"

#include "qvlibs/settings/ProfileCtrl.h"

#include <gtest/gtest.h>

namespace {

TEST(ModelRecords, DefaultsOfAnEmptyStore) {
    const CQVModelInformation model;
    const CQVTarvKindInformation kind;
    CQVVendorInformation vendor;
    EXPECT_EQ(vendor.m_dwVendorId, 0u);
    vendor.ReadProfile(3);
    const struct {
        const char* what;
        long long found, expected;
    } rows[] = {
        {"node high", model.m_dwNodeIdHigh, 0},
        {"node low", model.m_dwNodeIdLow, 0},
        {"type", model.m_wType, 1},
        {"start", model.m_nRecStart, 30},
        {"stop", model.m_nRecStop, 30},
        {"range", model.m_nRecordErrPlusRange, 0},
        {"span", model.m_nSpanOfTimecode, 500},
        {"auto mark", model.m_nSpanOfTimecodeAtAutoMark, 2000},
        {"live feed", model.m_nSpanOfTimecodeAtLiveFeed, 500},
        {"slow", model.m_nSearchSlowLimit, 15},
        {"play", model.m_nSearchPlayLimit, 30},
        {"fast", model.m_nSearchFastLimit, 360},
        {"not play", model.m_nSearchNotPlayFastLimit, 13107},
        {"sleep", model.m_nSleepAtRecPauseToVTR, 3000},
        {"inhibit", model.m_nInhibitDropFrame, 4},
        {"neighbour", model.m_nNeighborFrameInterval, 1000},
        {"slow command", model.m_nSlowCommand, 10},
        {"slow reverse", model.m_nSlowRevCommand, 11},
        {"kind", kind.m_wNumber, 65535},
        {"vendor", vendor.m_dwVendorId, 0},
        {"vendor slow", vendor.m_nSlowCommand, 10},
    };
    for (const auto& row : rows) EXPECT_EQ(row.found, row.expected) << row.what;
    EXPECT_STREQ(model.m_strName, "Camcoder"); // spelt so on purpose
    EXPECT_STREQ(model.m_strVendor, "Default");
    EXPECT_STREQ(vendor.m_strName, "Default");
    EXPECT_STREQ(kind.m_strName, "DV Device");
}

TEST(ModelRecords, SlowCommandsOutsideTheirRangesAreNone) {
    const struct {
        int slow, slowRead, reverse, reverseRead;
    } rows[] = {{42, 10, 54, 11}, {41, 41, 53, 53}, {36, 36, 48, 48},
                {35, 10, 47, 11}, {10, 10, 11, 11}, {-1, 10, 0, 11}};
    for (const auto& row : rows) {
        for (const char* section : {"Model0007", "Vendor0007"}) {
            QVWriteProfileInt(section, "SlowCommand", row.slow, 0);
            QVWriteProfileInt(section, "SlowRevCommand", row.reverse, 0);
        }
        CQVModelInformation model;
        model.ReadProfile(7, "Model");
        CQVVendorInformation vendor;
        vendor.ReadProfile(7);
        EXPECT_EQ(model.m_nSlowCommand, row.slowRead) << row.slow;
        EXPECT_EQ(model.m_nSlowRevCommand, row.reverseRead) << row.reverse;
        EXPECT_EQ(vendor.m_nSlowCommand, row.slowRead) << row.slow;
        EXPECT_EQ(vendor.m_nSlowRevCommand, row.reverseRead) << row.reverse;
    }
}

TEST(ModelRecords, IdentifiersAreTwoHalves) {
    QVWriteProfileInt("UserModel0002", "NodeIDHiHi", 0x0800, 0);
    QVWriteProfileInt("UserModel0002", "NodeIDHiLo", 0x1FFFF, 0); // only its low half counts
    QVWriteProfileInt("UserModel0002", "NodeIDLoHi", 0xFFFF, 0);
    QVWriteProfileInt("UserModel0002", "NodeIDLoLo", 2, 0);
    CQVModelInformation model;
    model.ReadProfile(2, "UserModel");
    EXPECT_EQ(model.m_dwNodeIdHigh, 0x0800FFFFu);
    EXPECT_EQ(model.m_dwNodeIdLow, 0xFFFF0002u);
    EXPECT_EQ(model.VendorId(), 0x0800FFu);
}

TEST(ModelRecords, SixteenBitFieldsAreCut) {
    QVWriteProfileInt("PK0001", "Number", 70000, 0);
    QVWriteProfileInt("Model0001", "TarvModel", 65536, 0);
    CQVTarvKindInformation kind;
    kind.ReadProfile(1);
    CQVModelInformation model;
    model.m_wTarvModel = 9;
    model.ReadProfile(1, "Model");
    EXPECT_EQ(kind.m_wNumber, 4464);
    EXPECT_EQ(model.m_wTarvModel, 0);
}

// Record 0 fills new records; a record that is read takes the table's defaults, not record 0.
TEST(ModelRecords, RecordZeroIsTheDefaultOfNewRecordsOnly) {
    QVWriteProfileString("Model0000", "Name", "X", 0);
    CQVModelInformation model;
    EXPECT_STREQ(model.m_strName, "X");
    model.ReadProfile(2, "Model");
    EXPECT_STREQ(model.m_strName, "Camcoder");
}

TEST(ModelRecords, WhatIsWrittenIsReadBack) {
    CQVModelInformation model;
    model.m_dwNodeIdHigh = 0x08004601;
    model.m_dwNodeIdLow = 0xFFFFFFFF;
    model.m_strName = "テープ";
    model.m_nRecordUserAdjustment = -5;
    model.m_nSlowCommand = 38;
    model.m_nCalibrateExecuted = 1;
    model.WriteProfile(9999, 1, "Model");
    model.WriteProfile(10000, 1, "Model"); // would be Model1\0000: refused
    CQVModelInformation read(&model);
    read.m_strName = "";
    read.ReadProfile(9999, "Model");
    EXPECT_EQ(read.m_dwNodeIdHigh, 0x08004601u);
    EXPECT_EQ(read.m_dwNodeIdLow, 0xFFFFFFFFu);
    EXPECT_STREQ(read.m_strName, "テープ");
    EXPECT_EQ(read.m_nRecordUserAdjustment, -5);
    EXPECT_EQ(read.m_nSlowCommand, 38);
    EXPECT_EQ(read.m_nCalibrateExecuted, 1);
    EXPECT_EQ(qv::registry::values(HKEY_LOCAL_MACHINE, "Software\\Tarvelion\\Lumenhall\\Model\\9999").size(),
              33u);
    EXPECT_FALSE(qv::registry::keyExists(HKEY_LOCAL_MACHINE, "Software\\Tarvelion\\Lumenhall\\Model1"));
}

} // namespace
