#include <gtest/gtest.h>

#include "borvane/borvane.h"
#include "borvane/frame/class_table.h"
#include "borvane/frame/error_handling.h"
#include "borvane/frame/global.h"
#include "borvane/frame/status_callback.h"
#include "borvane/platform/registry/registry.h"
#include "borvane/platform/testing/registry.h"
#include "tests/test_support.h"

#include <thread>

namespace borvane {
namespace {

TEST(FrameTest, GuardedOperationHidesTheFailure) {
  int done = 0;
  Error e = testing::CaughtError([&] {
    Guarded("Doc:Add Method", [&] {
      ++done;
      throw Error(102, "", "");
    });
  });
  EXPECT_TRUE(testing::IsGuarded(e, "Doc:Add Method"));
  EXPECT_EQ(done, 1);  // nothing rolled back
  // Any kind of failure, not only the library's own.
  EXPECT_THROW(Guarded("X", [] { throw std::bad_alloc(); }), Error);
  EXPECT_EQ(Guarded("X", [] { return 5; }), 5);
  int32_t code = 7;
  EXPECT_EQ(GetErrorDescription(code), String("An unknown error has occurred!"));
}

TEST(FrameTest, ClassFactoryAndRegistration) {
  void* raw = nullptr;
  ASSERT_EQ(DllGetClassObject(ClassId(kOrderCStringBuilder).c_str(), &raw), 0);
  Object adopted;
  {
    auto* obj = static_cast<ObjectBase*>(raw);
    adopted = Object(obj);
    obj->Release();  // the factory's reference, now held by `adopted`
  }
  EXPECT_EQ(ClassNameOf(*adopted), String("CStringBuilder"));
  const ClassInfo& info = adopted->GetClassInfo();
  EXPECT_NE(info.clsid, info.default_interface.iid);
  EXPECT_EQ(info.prog_id, String("Borvane.CStringBuilder"));
  EXPECT_EQ(DllCanUnloadNow(), 1);
  EXPECT_NE(DllGetClassObject("{00000000-0000-0000-0000-000000000000}", &raw), 0);

  testing::InUse<platform::MemoryRegistry, platform::RegistryStore> registry;
  ASSERT_EQ(DllRegisterServer(), 0);
  String key = String("HKEY_CLASSES_ROOT\\CLSID\\") + String(ClassId(kOrderCStringBuilder));
  EXPECT_EQ(registry.GetValue(key + String("\\ProgID"), "").value_or("?"),
            String("Borvane.CStringBuilder"));
  EXPECT_EQ(DllUnregisterServer(), 0);
  EXPECT_FALSE(registry.KeyExists(key));
}

}  // namespace
}  // namespace borvane
