// Late binding of a class written outside the library: creation by name, calls by name,
// argument conversion, by-reference write-back, optional arguments, errors, type information.
#include <gtest/gtest.h>

#include "borvane/borvane.h"

namespace borvane {
namespace {

enum Shade : int32_t { kLight = 1, kDark = 2 };

const TypeDesc& ShadeType() {
  static auto desc =
      TypeDesc::Enum("Shade", {{"kLight", int32_t{1}, ""}, {"kDark", int32_t{2}, ""}});
  return *desc;
}
const TypeDesc& ColorType() {
  static auto desc = TypeDesc::Alias("OLE_COLOR", TypeRef::Builtin(vbLong));
  return *desc;
}

class Widget : public Dispatchable<Widget> {
 public:
  static constexpr const char* kClassName = "Widget";
  static void Describe(ClassBuilder<Widget>& b) {
    b.Creatable()
        .ProgId("Tests.Widget")
        .Get("Caption", &Widget::Caption, {}, {.id = DISPID_VALUE, .help = "Caption:The text"})
        .Let("Caption", &Widget::SetCaption, {"Value"})
        .Get("Shade", &Widget::GetShade, {}, Returns(TypeRef::Described(ShadeType())))
        .Let("Shade", &Widget::SetShade, {Param("Value").Type(TypeRef::Described(ShadeType()))})
        .Get("Color", &Widget::Color, {}, Returns(TypeRef::Described(ColorType())))
        .Method("Grow", &Widget::Grow, {"Amount", Opt("Factor", int16_t{2})})
        .Method("Rename", &Widget::Rename, {"Name", Opt("Suffix")})
        .Get("Self", &Widget::Self, {}, {.attributes = {"NonBrowsable"}})
        .Method("Fail", &Widget::Fail, {"Name"});
  }
  String Caption() const { return caption_; }
  void SetCaption(const String& v) { caption_ = v; }
  Shade GetShade() const { return shade_; }
  void SetShade(Shade s) { shade_ = s; }
  int32_t Color() const { return 0xFF; }
  int32_t Grow(int32_t amount, int16_t factor) { return size_ += amount * factor; }
  // Writes the name it settled on back into the caller's argument.
  void Rename(String& name, const Variant& suffix) {
    name = name + (suffix.IsMissing() ? String("-renamed") : CStr(suffix));
    caption_ = name;
  }
  Ref<Widget> Self() { return Ref<Widget>(this); }
  // Changes its by-reference argument, then fails.
  void Fail(String& name) {
    name = "changed";
    ThrowPlatformError(kErrInvalidCall);
  }

  // Not on the interface: library-internal in the sense of the class.
  int32_t hidden_size() const { return size_; }

 private:
  String caption_ = "w";
  Shade shade_ = kLight;
  int32_t size_ = 0;
};

class BindingTest : public ::testing::Test {
 protected:
  void SetUp() override { RegisterClass<Widget>(); }
};

TEST_F(BindingTest, CreatesByProgIdAndCallsMembersCaseBlind) {
  Object w = CreateObject("tests.WIDGET");
  ASSERT_TRUE(w);
  EXPECT_EQ(CallByName(w, "caption", VbGet).StringRef(), String("w"));
  CallByName(w, "CAPTION", VbLet, {Variant(int32_t{42})});  // converts to String
  EXPECT_EQ(CStr(CallByName(w, "Caption", VbGet)), String("42"));
  EXPECT_EQ(TypeName(Variant(w)), String("Widget"));
  // An object where a value is expected gives its default member.
  EXPECT_EQ(CStr(Variant(w)), String("42"));
}

TEST_F(BindingTest, OptionalArgumentsTakeTheirDefaults) {
  Object w = CreateObject("Tests.Widget");
  EXPECT_EQ(CLng(CallByName(w, "Grow", VbMethod, {Variant(int32_t{5})})), 10);
  EXPECT_EQ(CLng(CallByName(w, "Grow", VbMethod, {Variant(int32_t{1}), Variant::Missing()})), 12);
  EXPECT_EQ(CLng(CallByName(w, "Grow", VbMethod, {Variant("3"), Variant(int32_t{1})})), 15);
}

TEST_F(BindingTest, ByReferenceArgumentIsWrittenBack) {
  Object w = CreateObject("Tests.Widget");
  std::vector<Variant> args = {Variant("box")};
  CallByName(w, "Rename", VbMethod, args);
  EXPECT_EQ(args[0].StringRef(), String("box-renamed"));
  args = {Variant("box"), Variant("!")};
  CallByName(w, "Rename", VbMethod, args);
  EXPECT_EQ(args[0].StringRef(), String("box!"));
  EXPECT_EQ(args[1].StringRef(), String("!"));  // by value: untouched
  // A change made before a failure stays made.
  args = {Variant("box")};
  EXPECT_THROW(CallByName(w, "Fail", VbMethod, args), Error);
  EXPECT_EQ(args[0].StringRef(), String("changed"));
}

TEST_F(BindingTest, UnchangedByReferenceArgumentKeepsItsType) {
  Object w = CreateObject("Tests.Widget");
  std::vector<Variant> args = {Variant(int32_t{7}), Variant("")};
  CallByName(w, "Rename", VbMethod, args);  // the name stays "7": nothing to write back
  EXPECT_EQ(args[0].VarType(), vbLong);
  args = {Variant(int32_t{7}), Variant("x")};
  CallByName(w, "Rename", VbMethod, args);  // changed: written back as the parameter's type
  EXPECT_EQ(args[0].VarType(), vbString);
  EXPECT_EQ(args[0].StringRef(), String("7x"));
}

TEST_F(BindingTest, Errors) {
  Object w = CreateObject("Tests.Widget");
  auto number = [](auto&& f) {
    try {
      f();
    } catch (const Error& e) {
      return e.Number();
    }
    return int32_t{0};
  };
  EXPECT_EQ(number([&] { CallByName(w, "Nope", VbGet); }), 438);
  EXPECT_EQ(number([&] { CallByName(w, "Color", VbLet, {Variant(int32_t{1})}); }), 438);
  EXPECT_EQ(number([&] { CallByName(Object(), "Caption", VbGet); }), 91);
  EXPECT_EQ(number([&] { CreateObject("Tests.NoSuchClass"); }), 429);
  EXPECT_EQ(number([&] { CreateObject("Borvane.Collection"); }), 429);
  EXPECT_EQ(number([&] { CallByName(w, "Grow", VbMethod, {Variant("abc")}); }), 13);
  EXPECT_EQ(number([&] { CallByName(w, "Grow", VbMethod, {Variant(1e12)}); }), 6);
  EXPECT_EQ(number([&] { CallByName(w, "Grow", VbMethod); }), 449);
  EXPECT_EQ(number([&] {
              CallByName(w, "Grow", VbMethod,
                         {Variant(int32_t{1}), Variant(int32_t{1}), Variant(int32_t{1})});
            }),
            450);
  EXPECT_EQ(number([&] { CallByName(w, "Hidden_Size", VbGet); }), 438);
}

TEST_F(BindingTest, TypeInformationDescribesMembersInOrder) {
  const ClassInfo& c = Widget::StaticClassInfo();
  EXPECT_EQ(c.default_interface.name, String("_Widget"));
  const auto& m = c.default_interface.members;
  ASSERT_EQ(m.size(), 9u);
  EXPECT_EQ(m[0].name, String("Caption"));
  EXPECT_EQ(m[0].invoke_kind, INVOKE_PROPERTYGET);
  EXPECT_EQ(m[0].memid, DISPID_VALUE);
  EXPECT_EQ(m[1].invoke_kind, INVOKE_PROPERTYPUT);
  EXPECT_EQ(m[1].memid, DISPID_VALUE);  // accessors of one property share the id
  EXPECT_EQ(m[0].help_string, String("Caption:The text"));
  EXPECT_EQ(m[0].return_type.vartype, vbString);
  ASSERT_NE(m[2].return_type.desc, nullptr);
  EXPECT_EQ(m[2].return_type.desc->Kind(), TKIND_ENUM);
  EXPECT_EQ(m[2].return_type.desc->Constants()[1].name, String("kDark"));
  EXPECT_EQ(m[3].params[0].type.desc, &ShadeType());
  EXPECT_EQ(m[4].return_type.desc->Kind(), TKIND_ALIAS);
  EXPECT_EQ(m[4].return_type.desc->Name(), String("OLE_COLOR"));
  EXPECT_TRUE(m[6].params[0].by_ref);
  EXPECT_FALSE(m[6].params[1].by_ref);
  EXPECT_TRUE(m[6].params[1].optional);
  EXPECT_EQ(m[7].return_type.desc->Kind(), TKIND_DISPATCH);
  EXPECT_EQ(m[7].return_type.desc->Name(), String("_Widget"));
  EXPECT_TRUE(m[7].HasAttribute(u"nonbrowsable"));
}

TEST_F(BindingTest, ObjectsLiveByReferenceCounts) {
  int64_t before = LiveObjectCount();
  {
    Object w = CreateObject("Tests.Widget");
    Variant held(w);
    Object self = CallByName(w, "Self", VbGet).ToObject();
    EXPECT_EQ(self.Get(), w.Get());
    EXPECT_EQ(w->RefCount(), 3u);
  }
  EXPECT_EQ(LiveObjectCount(), before);
}

class Source : public Dispatchable<Source> {
 public:
  static constexpr const char* kClassName = "Source";
  static void Describe(ClassBuilder<Source>&) {}
  EventSource* GetEventSource() override { return &events; }
  EventSource events;
};
class Sink : public Dispatchable<Sink> {
 public:
  static constexpr const char* kClassName = "Sink";
  static void Describe(ClassBuilder<Sink>& b) { b.Method("Changed", &Sink::Changed); }
  void Changed() { ++calls; }
  int calls = 0;
};

TEST_F(BindingTest, EventsReachCallbacksAndSinksByName) {
  auto source = MakeRef<Source>();
  auto sink = MakeRef<Sink>();
  int callback_calls = 0;
  int32_t c1 =
      ConnectEvents(Object(source), "Changed", [&](std::vector<Variant>&) { ++callback_calls; });
  ConnectEvents(Object(source), Object(sink));
  source->events.Raise("Changed");
  source->events.Raise("Other");  // the sink has no such method: not called
  DisconnectEvents(Object(source), c1);
  source->events.Raise("changed");
  EXPECT_EQ(callback_calls, 1);
  EXPECT_EQ(sink->calls, 2);
}

}  // namespace
}  // namespace borvane
