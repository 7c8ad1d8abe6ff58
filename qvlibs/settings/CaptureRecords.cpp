#include "qvlibs/settings/CaptureRecords.h"

#include "qvlibs/framework/Trace.h"
#include "qvlibs/platform/Resources.h"
#include "qvlibs/settings/ProfileRoot.h"
#include "qvlibs/settings/SettingRows.h"
#include "qvlibs/util/AtomicFile.h"

namespace {

constexpr const char* kSection = "EasyCapture";
constexpr int kSuiteName = 30045;

using Info = QVCAPTUREINFO;
constexpr qv::SettingRow<Info> kInfoRows[] = {
    {"FolderPath", &Info::strFolderPath},
    {"Quality", &Info::nQuality},
    {"Resolve", &Info::nResolution},
    {"Picture", &Info::nPicture},
    {"DVHigh", &Info::nDVHigh},
    {"DVLow", &Info::nDVLow},
    {"FileListPath", &Info::strFileListPath},
};

void appendAll(CStringList& target, const CStringList& list) {
    for (POSITION position = list.GetHeadPosition(); position;) target.AddTail(list.GetNext(position));
}

// Nobody else has the file open: asked, because the file is replaced and not opened itself.
bool isFree(const char* path) {
    CFile file;
    CFileException problem;
    return file.Open(path, CFile::modeReadWrite | CFile::shareExclusive, &problem) ||
           problem.osError == ENOENT;
}

} // namespace

CArchive& operator<<(CArchive& archive, const CStringList& list) {
    archive << static_cast<LONG>(list.GetCount());
    for (POSITION position = list.GetHeadPosition(); position;) archive << list.GetNext(position);
    return archive;
}

CArchive& operator>>(CArchive& archive, CStringList& list) {
    LONG count = 0;
    archive >> count;
    for (; count > 0; --count) {
        CString text;
        archive >> text;
        list.AddTail(text);
    }
    return archive;
}

CArchive& operator<<(CArchive& archive, const QVCAPTUREINFO& info) {
    for (const auto& row : kInfoRows) {
        if (const auto* number = std::get_if<int Info::*>(&row.field))
            archive << static_cast<LONG>(info.**number);
        else
            archive << info.*std::get<CString Info::*>(row.field);
    }
    return archive;
}

CArchive& operator>>(CArchive& archive, QVCAPTUREINFO& info) {
    for (const auto& row : kInfoRows) {
        if (const auto* number = std::get_if<int Info::*>(&row.field)) {
            LONG value = 0;
            archive >> value;
            info.** number = value;
        } else {
            archive >> info.*std::get<CString Info::*>(row.field);
        }
    }
    return archive;
}

CArchive& operator<<(CArchive& archive, const QVCAPTUREDATA& data) {
    return archive << data.lstFirst << data.lstSecond;
}

CArchive& operator>>(CArchive& archive, QVCAPTUREDATA& data) {
    return archive >> data.lstFirst >> data.lstSecond;
}

int QVTLSetCaptureInfo(const QVCAPTUREINFO& info) {
    QVTL_TRACE();
    return writeRows(info, kSection, 0, kInfoRows) ? 1 : 0;
}

int QVTLGetCaptureInfo(QVCAPTUREINFO& info) {
    QVTL_TRACE();
    readRows(info, kSection, kInfoRows);
    return 1;
}

int QVTLSetCaptureList(const QVCAPTUREDATA& data) {
    QVTL_TRACE();
    if (!isFree(data.strFilePath)) return 0;
    CMemFile bytes;
    CArchive archive(&bytes, CArchive::store);
    archive << data;
    archive.Close();
    qv::AtomicFile file(data.strFilePath.str());
    return file.isOpen() && file.write(bytes.Bytes().data(), bytes.Bytes().size()) && file.commit() ? 1 : 0;
}

int QVTLGetCaptureList(QVCAPTUREDATA& data) {
    QVTL_TRACE();
    QVCAPTUREDATA read;
    try {
        CFile file;
        if (!file.Open(data.strFilePath, CFile::modeRead | CFile::shareDenyWrite)) return 0;
        CArchive archive(&file, CArchive::load);
        archive >> read;
    } catch (const std::exception& problem) { // the archive's, or the file's
        qvTrace << problem.what();
        return 0;
    }
    appendAll(data.lstFirst, read.lstFirst);
    appendAll(data.lstSecond, read.lstSecond);
    return 1;
}

CString QVTLGetAppName(DVAPP_ENUM app) {
    QVTL_TRACE();
    if (app == DVAPP_SUITE) return qv::resourceText(kSuiteName);
    if (app != DVAPP_CALLER) return {};
    const CString name = QVGetProfileStringEx("Settings", "AppName", "", qv::applicationName().c_str());
    return name.Mid(name.Find(' ') + 1); // without a blank, all of it
}

QV_IMPLEMENT_DYNAMIC(CDEDUClip, new CDEDUClip)

CDEDUClip::CDEDUClip() = default;

CDEDUClip::CDEDUClip(CDEDUClip* other) : CDEDUClip(other ? *other : CDEDUClip()) {}

CDEDUClip::CDEDUClip(CString name, CQVTimecode in, CQVTimecode out, int value1, CQVTimecode tc3, int value2,
                     int value3)
    : m_strFileName(std::move(name)), m_tcIn(in), m_tcOut(out), m_tsDuration((out + 1) - in),
      m_nValue1(value1), m_tcThird(tc3), m_nValue2(value2), m_nValue3(value3) {}
