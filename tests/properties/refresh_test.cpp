// Properties.Refresh over a class with every kind of member: which members become descriptors,
// their texts, types, options and accessor kinds, a second Refresh, and failures.
#include <gtest/gtest.h>

#include "tests/test_support.h"

#include <functional>
#include <thread>

#include "borvane/borvane.h"
#include "borvane/frame/error_handling.h"
#include "borvane/properties/properties.h"
#include "borvane/properties/type_lib_info.h"

namespace borvane {
namespace {

using borvane::testing::ErrorOf;
using borvane::testing::IsGuarded;
using borvane::testing::Raised;
using borvane::testing::U8;

const TypeDesc& ShadeType() {
  // A constant that is not a Long has no option entry.
  static auto desc = TypeDesc::Enum("Shade", {{"shLight", Variant(int32_t{1}), ""},
                                              {"shHalf", Variant(0.5), ""},
                                              {"shDark", Variant(int32_t{-2}), ""}});
  return *desc;
}
const TypeDesc& ColorType() {
  static auto desc = TypeDesc::Alias("OLE_COLOR", TypeRef::Builtin(vbLong));
  return *desc;
}
// An alias of an enumeration: resolving it would reach the enumeration.
const TypeDesc& ToneType() {
  static auto desc = TypeDesc::Alias("Tone", TypeRef::Described(ShadeType()));
  return *desc;
}
const TypeDesc& PointType() {
  static auto desc = TypeDesc::Record("POINT");
  return *desc;
}

class Gizmo : public Dispatchable<Gizmo> {
 public:
  static constexpr const char* kClassName = "Gizmo";
  static void Describe(ClassBuilder<Gizmo>& b) {
    const TypeRef shade = TypeRef::Described(ShadeType());
    const TypeRef color = TypeRef::Described(ColorType());
    b.Method("Reset", &Gizmo::Reset, {}, {.help = "Reset:Puts it back"})
        .Get("Count", &Gizmo::Count)
        .Get("Caption", &Gizmo::Caption, {}, {.help = "Caption"})
        .Let("Caption", &Gizmo::LetCaption, {"Value"}, {.help = "Ignored:Second accessor"})
        .Let("Width", &Gizmo::LetWidth, {"Value"}, {.help = "Width:How wide:a:b:c"})
        .Get("Width", &Gizmo::Width)
        .Set("Child", &Gizmo::SetChild, {"Value"})
        .Get("Child", &Gizmo::Child)
        .Get("Shade", &Gizmo::GetShade, {}, Returns(shade, {.help = "Shade:Light or dark"}))
        .Let("Shade", &Gizmo::LetShade, {Param("Value").Type(shade)})
        .Get("Color", &Gizmo::Color, {}, Returns(color, {.help = "Colour:Back colour:Palette"}))
        .Let("Color", &Gizmo::LetColor, {Param("Value").Type(color)})
        .Get("Tone", &Gizmo::Color, {}, Returns(TypeRef::Described(ToneType())))
        .Get("Origin", &Gizmo::Count, {}, Returns(TypeRef::Described(PointType())))
        .Get("Properties", &Gizmo::Count)
        .Get("Hidden", &Gizmo::Count, {}, {.attributes = {"nonbrowsable"}})
        .Let("Hidden", &Gizmo::LetCount, {"Value"})
        .Get("Secret", &Gizmo::Count)
        .Let("Secret", &Gizmo::LetCount, {"Value"}, {.attributes = {"NonBrowsable"}})
        .Get("Flag", &Gizmo::Flag, {}, {.attributes = {"Hidden", "NonBrowsable"}})
        .Get("Stamp", &Gizmo::Stamp)
        .Get("Anything", &Gizmo::Anything)
        .Get("Items", &Gizmo::Items);
  }
  void Reset() {}
  int32_t Count() const { return count_; }
  void LetCount(int32_t v) { count_ = v; }
  String Caption() const { return caption_; }
  void LetCaption(const String& v) { caption_ = v; }
  double Width() const { return width_; }
  void LetWidth(double v) { width_ = v; }
  Ref<Gizmo> Child() const { return child_; }
  void SetChild(const Ref<Gizmo>& v) { child_ = v; }
  int32_t GetShade() const { return shade_; }
  void LetShade(int32_t v) { shade_ = v; }
  int32_t Color() const { return color_; }
  void LetColor(int32_t v) { color_ = v; }
  bool Flag() const { return true; }
  Date Stamp() const { return Date{}; }
  Variant Anything() const { return Variant(); }
  Array Items() const { return Array(); }

  Ref<Gizmo> child_;
  int32_t count_ = 3, shade_ = 1, color_ = 255;
  String caption_ = "cap";
  double width_ = 1.5;
};

// Lower-case "properties" is an ordinary property.
class Lower : public Dispatchable<Lower> {
 public:
  static constexpr const char* kClassName = "Lower";
  static void Describe(ClassBuilder<Lower>& b) {
    b.Get("properties", &Lower::Value).Get("Count", &Lower::Value);
  }
  int32_t Value() const { return 7; }
};

// A property get without a result type: its type cannot be described, and the walk stops there.
class Brittle : public Dispatchable<Brittle> {
 public:
  static constexpr const char* kClassName = "Brittle";
  static void Describe(ClassBuilder<Brittle>& b) {
    b.Get("A", &Brittle::A).Get("Broken", &Brittle::Broken).Get("C", &Brittle::A);
  }
  int32_t A() const { return 1; }
  void Broken() {}
};

// An object that answers calls itself and describes no member.
class Opaque : public ObjectBase {
 public:
  const ClassInfo& GetClassInfo() const override {
    static ClassInfo info = [] {
      ClassInfo ci;
      ci.name = "Opaque";
      return ci;
    }();
    return info;
  }
};

std::vector<String> Names(const Properties& props) {
  std::vector<String> out;
  for (int32_t i = 1; i <= props.Count(); ++i) out.push_back(props.At(i).Name());
  return out;
}

std::vector<String> Options(const Property& p) {
  std::vector<String> out;
  Ref<Collection> c = p.EnumeratedOptions();
  for (int32_t i = 1; i <= c->Count(); ++i) out.push_back(CStr(c->At(i)));
  return out;
}

class RefreshTest : public ::testing::Test {
 protected:
  Ref<Gizmo> gizmo_ = MakeRef<Gizmo>();
  Object host_ = gizmo_;
  Ref<Properties> props_ = MakeRef<Properties>();
};

TEST_F(RefreshTest, DescribesPropertiesInInterfaceOrderAndPassesOverTheRest) {
  props_->Refresh(host_);
  // No method, no record-typed property, no "Properties".
  EXPECT_EQ(Names(*props_),
            (std::vector<String>{"Count", "Caption", "Width", "Child", "Shade", "Color", "Tone",
                                 "Hidden", "Secret", "Flag", "Stamp", "Anything", "Items"}));

  auto lower = MakeRef<Lower>();
  Object lower_obj = lower;
  auto p2 = MakeRef<Properties>();
  p2->Refresh(lower_obj);
  EXPECT_EQ(Names(*p2), (std::vector<String>{"properties", "Count"}));
}

TEST_F(RefreshTest, HelpStringPiecesGoToTheDisplayTexts) {
  props_->Refresh(host_);
  auto texts = [&](const char* name) {
    Property* p = props_->Find(name);
    return U8(p->FriendlyName()) + "|" + U8(p->Description()) + "|" + U8(p->AttributeString());
  };
  EXPECT_EQ(texts("Count"), "||");           // no help string: the name is not copied
  EXPECT_EQ(texts("Caption"), "Caption||");  // one piece; the let's help is not read
  EXPECT_EQ(texts("Shade"), "Shade|Light or dark|");
  EXPECT_EQ(texts("Color"), "Colour|Back colour|Palette");
  EXPECT_EQ(texts("Width"), "Width|How wide|a:b:c");  // four and more: the rest with its ":"
}

TEST_F(RefreshTest, TypeNamesByKindOfType) {
  props_->Refresh(host_);
  auto type = [&](const char* name) { return props_->Find(name)->TypeName().ToUtf8(); };
  EXPECT_EQ(type("Count"), "Long");
  EXPECT_EQ(type("Caption"), "String");
  EXPECT_EQ(type("Width"), "Double");     // from the let, the first accessor: its value's type
  EXPECT_EQ(type("Child"), "_Gizmo");     // a dispatch interface, from the set accessor
  EXPECT_EQ(type("Shade"), "Long");       // an enumeration, whatever its name
  EXPECT_EQ(type("Color"), "OLE_COLOR");  // aliases stay unresolved
  EXPECT_EQ(type("Tone"), "Tone");
  EXPECT_EQ(type("Flag"), "Boolean");
  EXPECT_EQ(type("Stamp"), "Date");
  EXPECT_EQ(type("Items"), "Variant()");  // the array flag is masked off for the test
  EXPECT_FALSE(tli::Application().ResolveAliases());
}

TEST_F(RefreshTest, EnumeratedOptionsComeOncePerLongConstant) {
  props_->Refresh(host_);
  EXPECT_EQ(Options(*props_->Find("Shade")), (std::vector<String>{"shLight;1", "shDark;-2"}));
  EXPECT_TRUE(Options(*props_->Find("Tone")).empty());
  EXPECT_TRUE(Options(*props_->Find("Count")).empty());
}

TEST_F(RefreshTest, AccessorKindsAddUpAndOnlyTheFirstAccessorsAttributesCount) {
  props_->Refresh(host_);
  auto kinds = [&](const char* name) { return props_->Find(name)->InvokeKinds(); };
  EXPECT_EQ(kinds("Count"), 2);
  EXPECT_TRUE(props_->Find("Count")->ReadOnly());
  EXPECT_EQ(kinds("Caption"), 6);
  EXPECT_FALSE(props_->Find("Caption")->ReadOnly());
  EXPECT_EQ(kinds("Width"), 6);
  EXPECT_EQ(kinds("Child"), 10);
  EXPECT_FALSE(props_->Find("Child")->ReadOnly());
  EXPECT_TRUE(props_->Find("Hidden")->NonBrowsable());   // case-blind attribute
  EXPECT_FALSE(props_->Find("Secret")->NonBrowsable());  // on the second accessor only
  EXPECT_TRUE(props_->Find("Flag")->NonBrowsable());
  EXPECT_EQ(props_->Find("Count")->HostObj(), host_);
  EXPECT_EQ(props_->Find("Count")->Category(), MISC_PROPERTYCATEGORY);
}

TEST_F(RefreshTest, SecondRefreshOnlyAddsKindsAgain) {
  props_->Refresh(host_);
  Ref<Property> first_count(props_->Find("Count"));
  props_->Refresh(host_);
  EXPECT_EQ(props_->Count(), 13);
  EXPECT_EQ(props_->Find("Count"), first_count.Get());
  // An addition, not a bit union: a read-only 2 becomes 4 and so is writable.
  EXPECT_EQ(first_count->InvokeKinds(), 4);
  EXPECT_FALSE(first_count->ReadOnly());
  EXPECT_EQ(props_->Find("Caption")->InvokeKinds(), 12);
  EXPECT_EQ(Options(*props_->Find("Shade")).size(), 2u);

  // Another object with a property of the same name: the first descriptor and host stay.
  auto other = MakeRef<Lower>();
  Object other_obj = other;
  props_->Refresh(other_obj);
  EXPECT_EQ(props_->Count(), 14);  // "properties" is new
  EXPECT_EQ(first_count->HostObj(), host_);
  EXPECT_EQ(first_count->InvokeKinds(), 6);
}

TEST_F(RefreshTest, DescriptorsDoNotHoldTheirHost) {
  uint32_t before = gizmo_->RefCount();
  props_->Refresh(host_);
  EXPECT_EQ(gizmo_->RefCount(), before);
  {
    Object h = props_->Find("Count")->HostObj();  // a counted reference of its own
    EXPECT_EQ(gizmo_->RefCount(), before + 1);
  }
  EXPECT_EQ(gizmo_->RefCount(), before);
}

TEST_F(RefreshTest, FailuresRaiseTheGuardedErrorAndKeepWhatWasAdded) {
  auto brittle = MakeRef<Brittle>();
  Object b = brittle;
  EXPECT_TRUE(IsGuarded(Raised([&] { props_->Refresh(b); }), "Properties:Enumerate method"));
  EXPECT_EQ(kGuardedErrorNumber, static_cast<int32_t>(0x8004C3B5));
  EXPECT_EQ(Names(*props_), (std::vector<String>{"A"}));

  Object opaque(new Opaque);
  EXPECT_EQ(ErrorOf([&] { props_->Refresh(opaque); }), kGuardedErrorNumber);
  Object nothing;
  EXPECT_EQ(ErrorOf([&] { props_->Refresh(nothing); }), kGuardedErrorNumber);
  Object enumerator = MakeEnumerator([](Variant&) { return false; });
  EXPECT_EQ(ErrorOf([&] { props_->Refresh(enumerator); }), kGuardedErrorNumber);
  EXPECT_EQ(props_->Count(), 1);
}

TEST(InspectionTest, ResolveAliasesFollowsAliasesOnlyWhileSet) {
  const ClassInfo& info = Gizmo::StaticClassInfo();
  tli::TLIApplication& app = tli::Application();
  Object g = MakeRef<Gizmo>();
  tli::InterfaceInfo iface = app.InterfaceInfoFromObject(g);
  EXPECT_EQ(iface.Name(), String("_Gizmo"));
  EXPECT_EQ(iface.Members().size(), info.default_interface.members.size());
  const tli::MemberInfo* tone = nullptr;
  std::vector<tli::MemberInfo> members = iface.Members();
  for (const auto& m : members)
    if (m.Name() == String("Tone")) tone = &m;
  ASSERT_NE(tone, nullptr);
  EXPECT_EQ(tone->ReturnType().VarType(), 0);
  EXPECT_EQ(tone->ReturnType().GetTypeInfo().TypeKind(), TKIND_ALIAS);
  app.LetResolveAliases(true);
  // Tone stands for an enumeration, which is itself not built in.
  EXPECT_EQ(tone->ReturnType().VarType(), 0);
  EXPECT_EQ(tone->ReturnType().GetTypeInfo().Name(), String("Shade"));
  EXPECT_EQ(tone->ReturnType().GetTypeInfo().Members().size(), 3u);
  for (const auto& m : members) {
    if (m.Name() != String("Color")) continue;
    EXPECT_EQ(m.ReturnType().VarType(), vbLong);
    EXPECT_EQ(TypeName(m.ReturnType().TypedVariant()), String("Long"));
  }
  app.LetResolveAliases(false);

  // Each thread has its own setting.
  app.LetResolveAliases(true);
  bool other_thread = true;
  std::thread([&] { other_thread = tli::Application().ResolveAliases(); }).join();
  EXPECT_FALSE(other_thread);
  app.LetResolveAliases(false);
}

}  // namespace
}  // namespace borvane
