#include "qvlibs/platform/Components.h"

#include "qvlibs/framework/Status.h"
#include "qvlibs/platform/Registry.h"
#include "qvlibs/plugins/dv_component.h"
#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

// The modules lie in a folder beside this program, which has the library linked in.
TEST(Components, AreMadeByTheModuleOfTheirClass) {
    const struct {
        const char *classId, *interfaceId, *module;
        LONG status;
    } rows[] = {
        {QV_DV_CLASS, QV_DV_INTERFACE, "fakes/component.so", 0},
        {QV_DV_CLASS, "{00000000-0000-0000-C000-000000000000}", "fakes/component.so", QV_E_NOINTERFACE},
        {"{00000000-0000-0000-C000-000000000000}", QV_DV_INTERFACE, "fakes/component.so", QV_E_CLASSNOTREG},
        {QV_DV_CLASS, QV_DV_INTERFACE, "fakes/accept_all.so", QV_E_CLASSNOTREG},
        {QV_DV_CLASS, QV_DV_INTERFACE, "fakes/none.so", QV_E_CLASSNOTREG},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.module);
        void* made = &made;
        EXPECT_EQ(qv::createComponent(row.classId, row.interfaceId, row.module, &made), row.status);
        EXPECT_EQ(made != nullptr, row.status == 0);
        if (row.status != 0) continue;
        auto* component = static_cast<QVDVCOMPONENT*>(made);
        EXPECT_EQ(component->table->addRef(component), 2u) << "it came with one reference";
    }
    EXPECT_EQ(qv::createComponent(QV_DV_CLASS, QV_DV_INTERFACE, "fakes/component.so", nullptr), QV_E_POINTER);
}

TEST(Components, ASettingPutsAnotherModuleInPlace) {
    const std::string module = (qv::test::buildFolder() / "tests/fakes/component.so").string();
    const std::string key = "Software\\Classes\\CLSID\\" QV_DV_CLASS "\\InprocServer32";
    void* made = nullptr;
    const auto make = [&] {
        return qv::createComponent(QV_DV_CLASS, QV_DV_INTERFACE, "fakes/none.so", &made);
    };
    EXPECT_EQ(make(), QV_E_CLASSNOTREG);
    using namespace qv::registry;
    ASSERT_EQ(writeValue(HKEY_LOCAL_MACHINE, key, "", Type::Text, module + '\0'), Done);
    EXPECT_EQ(make(), 0);
    ASSERT_EQ(writeValue(HKEY_LOCAL_MACHINE, key, "", Type::Text, std::string("/nonexistent.so\0", 16)),
              Done);
    EXPECT_EQ(make(), QV_E_CLASSNOTREG) << "a setting that is wrong is not passed over";
}
