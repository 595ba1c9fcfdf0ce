// Records in Variants and by reference, and optional arguments that were not given.
#include <gtest/gtest.h>

#include "borvane/automation/convert.h"
#include "borvane/automation/dispatch.h"
#include "borvane/fonts/font_info.h"
#include "tests/test_support.h"

namespace borvane {
namespace {

using testing::ErrorOf;

struct Point {
  int32_t X = 0;
  double Y = 0;
};

}  // namespace

template <>
struct RecordTraits<Point> {
  static const RecordDescription<Point, int32_t, double>& Description() {
    static const RecordDescription<Point, int32_t, double> d("Point", RecordField("X", &Point::X),
                                                             RecordField("Y", &Point::Y));
    return d;
  }
};

namespace {

class Probe : public Dispatchable<Probe> {
 public:
  static constexpr const char* kClassName = "Probe";
  static void Describe(ClassBuilder<Probe>& b) {
    b.Method("Fill", &Probe::Fill, {"TTFInfo"})
        .Method("FillThenFail", &Probe::FillThenFail, {"TTFInfo"})
        .Method("Form", &Probe::Form, {Opt("CallingForm")});
  }
  bool Fill(FONTINFO& info) {
    info.FontName = info.FontName + String("Sample Bold");
    info.FontFamily = "Sample";
    info.FontStyle = "Bold";
    return true;
  }
  void FillThenFail(FONTINFO& info) {
    info.FontStyle = "Italic";
    ThrowPlatformError(kErrInvalidCall);
  }
  String Form(std::optional<int32_t> form) {
    return form ? String("given ") + CStr(Variant(*form)) : String("not given");
  }
};

Variant FontRecord(const char* name) {
  FONTINFO info;
  info.FontName = name;
  return ArgTraits<FONTINFO>::To(info);
}

TEST(RecordTest, ValueRulesOfARecordVariant) {
  Variant a = FontRecord("A");
  EXPECT_EQ(a.VarType(), vbUserDefinedType);
  EXPECT_EQ(TypeName(a), String("FONTINFO"));
  Variant b = a;  // deep: changing the copy leaves the original
  const_cast<Record*>(b.GetIf<Record>())->SetField(u"fontname", "B");
  EXPECT_EQ(a.GetIf<Record>()->Field(u"FontName"), Variant("A"));
  EXPECT_FALSE(a == b);
  EXPECT_TRUE(a == FontRecord("A"));
  for (auto convert : {+[](const Variant& v) { CStr(v); }, +[](const Variant& v) { CLng(v); },
                       +[](const Variant& v) { CBool(v); }, +[](const Variant& v) { CDbl(v); }})
    EXPECT_EQ(ErrorOf([&] { convert(a); }), 13);
  EXPECT_EQ(ErrorOf([&] { a.GetIf<Record>()->Field(u"Nope"); }), 438);
  // Fields keep their types.
  Variant p = ArgTraits<Point>::To(Point{3, 1.5});
  EXPECT_EQ(p.GetIf<Record>()->Field(u"x").VarType(), vbLong);
  EXPECT_EQ(ErrorOf([&] { const_cast<Record*>(p.GetIf<Record>())->SetField(u"X", "z"); }), 13);
}

TEST(RecordTest, ARecordByReferenceLateBound) {
  Object probe = MakeRef<Probe>();
  std::vector<Variant> args = {FontRecord("My ")};
  EXPECT_EQ(CallByName(probe, "Fill", VbMethod, args), Variant(true));
  const Record* r = args[0].GetIf<Record>();
  ASSERT_NE(r, nullptr);
  EXPECT_EQ(r->Field(u"FontName"), Variant("My Sample Bold"));
  EXPECT_EQ(r->Field(u"FontStyle"), Variant("Bold"));

  std::vector<Variant> empty = {Variant()};  // Empty: a zeroed record, filled
  CallByName(probe, "Fill", VbMethod, empty);
  EXPECT_EQ(empty[0].GetIf<Record>()->Field(u"FontFamily"), Variant("Sample"));

  std::vector<Variant> wrong = {ArgTraits<Point>::To(Point{})};
  EXPECT_EQ(ErrorOf([&] { CallByName(probe, "Fill", VbMethod, wrong); }), 13);
  std::vector<Variant> text = {Variant("x")};
  EXPECT_EQ(ErrorOf([&] { CallByName(probe, "Fill", VbMethod, text); }), 13);

  // A change made before a failure stays made.
  std::vector<Variant> failing = {FontRecord("F")};
  EXPECT_EQ(ErrorOf([&] { CallByName(probe, "FillThenFail", VbMethod, failing); }), 5);
  EXPECT_EQ(failing[0].GetIf<Record>()->Field(u"FontStyle"), Variant("Italic"));

  const MemberInfo* fill = Probe::StaticClassInfo().default_interface.Find(u"Fill")[0];
  ASSERT_NE(fill->params[0].type.desc, nullptr);
  EXPECT_EQ(fill->params[0].type.desc->Kind(), TKIND_RECORD);
  EXPECT_EQ(fill->params[0].type.desc->Name(), String("FONTINFO"));
}

TEST(RecordTest, AnOptionalArgumentNotGivenIsNotZero) {
  Object probe = MakeRef<Probe>();
  EXPECT_EQ(CallByName(probe, "Form", VbMethod), Variant("not given"));
  EXPECT_EQ(CallByName(probe, "Form", VbMethod, {Variant::Missing()}), Variant("not given"));
  EXPECT_EQ(CallByName(probe, "Form", VbMethod, {Variant(int32_t{0})}), Variant("given 0"));
  EXPECT_EQ(CallByName(probe, "Form", VbMethod, {Variant("7")}), Variant("given 7"));
  const MemberInfo* form = Probe::StaticClassInfo().default_interface.Find(u"Form")[0];
  EXPECT_TRUE(form->params[0].optional);
  EXPECT_EQ(form->params[0].type.vartype, vbLong);
}

}  // namespace
}  // namespace borvane
