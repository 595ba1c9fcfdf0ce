// StdFont: first values, Bold and Weight agreeing, member ids, and its type as others see it.
#include <gtest/gtest.h>

#include "borvane/borvane.h"
#include "borvane/fonts/std_font.h"

namespace borvane {
namespace {

TEST(StdFontTest, FirstValuesAndBoldFollowingWeight) {
  auto f = MakeRef<StdFont>();
  EXPECT_EQ(f->Name(), String("Sans"));
  EXPECT_EQ(f->Size().raw, 100000);
  EXPECT_EQ(f->Weight(), 400);
  EXPECT_FALSE(f->Bold());
  EXPECT_EQ(f->Charset(), 0);
  EXPECT_FALSE(f->Italic() || f->Underline() || f->Strikethrough());

  f->LetBold(true);
  EXPECT_EQ(f->Weight(), 700);
  f->LetBold(false);
  EXPECT_EQ(f->Weight(), 400);
  f->LetWeight(549);
  EXPECT_FALSE(f->Bold());
  f->LetWeight(550);
  EXPECT_TRUE(f->Bold());
  f->LetBold(true);  // a bold font set bold again gets the standard bold weight
  EXPECT_EQ(f->Weight(), 700);
}

TEST(StdFontTest, LateBoundByNameAndById) {
  Object o = CreateObject("Borvane.StdFont");
  ASSERT_TRUE(o.As<StdFont>());
  CallByName(o, "size", VbLet, {Variant("12.5")});
  EXPECT_TRUE(CallByName(o, "Size", VbGet) == Variant(Currency::FromRaw(125000)));
  EXPECT_THROW(CallByName(o, "Size", VbLet, {Variant(-1.0)}), Error);
  CallByName(o, "Name", VbLet, {Variant("DejaVu Serif")});
  EXPECT_TRUE(DefaultValue(o) == Variant("DejaVu Serif"));  // Name is the default member

  const InterfaceInfo& iface = o->GetClassInfo().default_interface;
  EXPECT_EQ(iface.name, String("Font"));
  const char* names[] = {"Name",          "",       "Size",   "Bold", "Italic", "Underline",
                         "Strikethrough", "Weight", "Charset"};
  for (int32_t id = 0; id <= 8; ++id) {
    if (id == 1) continue;
    const MemberInfo* get = iface.FindById(id, INVOKE_PROPERTYGET);
    const MemberInfo* let = iface.FindById(id, INVOKE_PROPERTYPUT);
    ASSERT_TRUE(get && let) << id;
    EXPECT_EQ(get->name, String(names[id]));
    EXPECT_EQ(let->name, String(names[id]));
  }
  EXPECT_EQ(iface.Find(u"Size")[0]->return_type.vartype, vbCurrency);
  EXPECT_EQ(iface.Find(u"Weight")[0]->return_type.vartype, vbInteger);
  // Its type, as a member of another class sees it: the dispatch interface "Font".
  const TypeDesc& type = StdFont::StaticClassInfo().AsType();
  EXPECT_EQ(type.Name(), String("Font"));
  EXPECT_EQ(type.Kind(), TKIND_DISPATCH);
  EXPECT_EQ(TypeName(Variant(o)), String("StdFont"));
  EXPECT_EQ(OleColorType().Name(), String("OLE_COLOR"));
  EXPECT_EQ(OleColorType().Kind(), TKIND_ALIAS);
  EXPECT_EQ(OleColorType().Aliased().vartype, vbLong);
}

}  // namespace
}  // namespace borvane
