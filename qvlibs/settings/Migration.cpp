#include "qvlibs/settings/Migration.h"

#include "qvlibs/settings/ProfileCtrl.h"

#include <chrono>
#include <thread>

namespace qv {

namespace {

constexpr const char* kTree = "SOFTWARE\\Tarvelion\\Lumenhall";
constexpr const char* kBackup = "SOFTWARE\\Tarvelion\\Lumenhall.Ver12_WIN98";

} // namespace

// The tree itself must be there: its parent stays for the backup, and a second run must change nothing.
void migrateUserSettings() {
    if (!registry::keyExists(HKEY_CURRENT_USER, kTree)) return;
    {
        registry::Transaction whole(registry::Transaction::Writing);
        QVCopyReg(HKEY_CURRENT_USER, HKEY_LOCAL_MACHINE, kTree, nullptr, 1);
        QVCopyReg(HKEY_CURRENT_USER, HKEY_CURRENT_USER, kTree, kBackup, 1);
        QVDeleteReg(HKEY_CURRENT_USER, kTree);
        if (!whole.commit()) return;
    }
    // On purpose: applications of the suite that start at the same time look at the store a moment later.
    std::this_thread::sleep_for(std::chrono::seconds(1));
}

} // namespace qv
