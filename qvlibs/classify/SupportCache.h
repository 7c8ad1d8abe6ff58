// What the support checks found out, kept by file so that a file is looked into once for each change of it.
//
// The cache is a table of checks, by name; each holds one element a file. A file is known by its full path, last-write
// time and size: the same in all of these is the same file. One thread at a time.
//
// The file "QVLibs510.archive" keeps the cache between runs of the main application; docs/support-cache.md tells it
// byte for byte. It is opened and its header is checked when the library loads, its elements are read when the first
// check asks. Whatever in it cannot be trusted is dropped, with all that follows it.
#pragma once

#include "qvlibs/classify/FileRecord.h"
#include "qvlibs/framework/Strings.h"
#include "qvlibs/util/FileIdentity.h"

#include <map>
#include <memory>
#include <string>

class CFile;

namespace qv {

struct SupportElement {
    QVFILESTATUS identity;
    CString longText, shortText; // of the entry "QVTLGetInformationString"
    LONG result = 0;
    GWFILEDATA data{};   // of the entry "QVTLGetGWData"
    LONG attributes = 0; // of the entry "QVTLAVIInvestigate", with the next two
    ULONG fourcc = 0;
    ULONG status = 0;
};

// Path by its bytes, then last-write time, then size.
struct IdentityOrder {
    bool operator()(const QVFILESTATUS& a, const QVFILESTATUS& b) const;
};
using SupportEntry = std::map<QVFILESTATUS, SupportElement, IdentityOrder>;

class SupportCache {
public:
    SupportCache();
    ~SupportCache();

    // The element of a file in the entry of a check, or null. Stays good until clear().
    const SupportElement* find(const std::string& check, const QVFILESTATUS& identity);
    // Inserts the element where there is none of that file, and answers the one that is there.
    const SupportElement& insert(const std::string& check, SupportElement element);
    // Gives the element of a file, if there is one, other texts.
    void replaceTexts(const std::string& check, const QVFILESTATUS& identity, CString longText,
                      CString shortText);
    void clear();
    size_t size(); // elements of all checks
    const std::map<std::string, SupportEntry>& all() { return entries(); }

    // Opens the cache file and checks that it belongs to the current television system and version.
    void open(const std::string& path);
    // Replaces the cache file. A failure is silent. Elements with more than 64 KiB of texts are left out.
    void save(const std::string& path);
    // Whether the file would be written otherwise than it was found: something is new, or was damaged.
    bool isChanged() const { return changed_; }

private:
    std::map<std::string, SupportEntry>& entries();
    bool readEntries();

    std::map<std::string, SupportEntry> entries_;
    std::unique_ptr<CFile> file_; // opened, its entries not yet read
    bool changed_ = false;
};

// The cache of the process, and its file by the settings.
SupportCache& supportCache();
std::string supportCachePath();
// At load and unload of the library.
void openSupportCache();
void closeSupportCache();

// Whether this process is the main application, the only one that writes the cache file: its program's file name
// contains the value "MainApplication" of section "Common" (default "GWMain.exe"), ASCII case ignored.
bool isMainApplication();

} // namespace qv
