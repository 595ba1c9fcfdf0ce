// Property: Value's conversion by TypeName and its calls on the host, the ReadOnly invariant,
// the silent event, and the Properties collection, also late-bound.
#include <gtest/gtest.h>

#include "tests/test_support.h"

#include <functional>

#include "borvane/borvane.h"
#include "borvane/frame/error_handling.h"
#include "borvane/properties/properties.h"

namespace borvane {
namespace {

using borvane::testing::ErrorOf;

// Records what a descriptor hands to it: the call kind and the value as received.
class Spy : public Dispatchable<Spy> {
 public:
  static constexpr const char* kClassName = "Spy";
  static void Describe(ClassBuilder<Spy>& b) {
    b.Get("V", &Spy::V).Let("V", &Spy::LetV, {"Value"}).Set("V", &Spy::SetV, {"Value"});
    b.Get("Fails", &Spy::Fails);
    b.Get("ReadsOnly", &Spy::V);
  }
  Variant V() const { return value; }
  void LetV(const Variant& v) { value = v, kind = 4, ++calls; }
  void SetV(const Variant& v) { value = v, kind = 8, ++calls; }
  int32_t Fails() const { ThrowPlatformError(kErrDivisionByZero); }

  Variant value = Variant(int16_t{5});
  int32_t kind = 0, calls = 0;
};

class PropertyTest : public ::testing::Test {
 protected:
  Ref<Property> Bound(const char* name, const char* type_name) {
    auto p = MakeRef<Property>();
    p->SetName(name);
    p->SetHostObj(spy_obj_);
    p->LetTypeName(type_name);
    return p;
  }
  Ref<Spy> spy_ = MakeRef<Spy>();
  Object spy_obj_ = spy_;
};

TEST_F(PropertyTest, WriteConvertsByExactTypeName) {
  struct Case {
    const char* type_name;
    Variant in;
    Variant expected;
  };
  const Case cases[] = {
      {"Long", Variant("42"), Variant(int32_t{42})},
      {"OLE_COLOR", Variant("255"), Variant(int32_t{255})},
      {"Long", Variant(2.5), Variant(int32_t{2})},  // banker's rounding
      {"String", Variant(int16_t{7}), Variant("7")},
      {"Boolean", Variant("true"), Variant(true)},
      {"Double", Variant("1.5"), Variant(1.5)},
      {"long", Variant("42"), Variant("42")},  // case counts: no conversion
      {"Currency", Variant("3"), Variant("3")},
  };
  for (const Case& c : cases) {
    spy_->kind = 0;
    Bound("V", c.type_name)->LetValue(c.in);
    EXPECT_EQ(spy_->kind, 4) << c.type_name;
    EXPECT_TRUE(spy_->value == c.expected) << c.type_name << " " << CStr(spy_->value).ToUtf8();
  }
  // Objects go by let, except for "Font", which uses set.
  Object o = MakeRef<Collection>();
  Bound("V", "Variant")->LetValue(Variant(o));
  EXPECT_EQ(spy_->kind, 4);
  Bound("V", "Font")->LetValue(Variant(o));
  EXPECT_EQ(spy_->kind, 8);
  EXPECT_EQ(spy_->value.ToObject(), o);
}

TEST_F(PropertyTest, ConversionFailuresComeFirstAndHostErrorsComeThrough) {
  EXPECT_EQ(ErrorOf([&] { Bound("V", "Long")->LetValue(Variant("abc")); }), kErrTypeMismatch);
  EXPECT_EQ(ErrorOf([&] { Bound("V", "Long")->LetValue(Variant(1e12)); }), kErrOverflow);
  EXPECT_EQ(ErrorOf([&] { Bound("V", "Boolean")->LetValue(Variant("maybe")); }), kErrTypeMismatch);
  EXPECT_EQ(spy_->calls, 0);
  EXPECT_EQ(ErrorOf([&] { Bound("Fails", "Long")->Value(); }), kErrDivisionByZero);
  EXPECT_EQ(ErrorOf([&] { Bound("ReadsOnly", "Long")->LetValue(Variant(1)); }), kErrNoSuchMember);
  EXPECT_EQ(ErrorOf([&] { Bound("Nope", "Long")->Value(); }), kErrNoSuchMember);
  // "Font" on write is a set: a host without a set accessor refuses.
  EXPECT_EQ(ErrorOf([&] { Bound("ReadsOnly", "Font")->LetValue(Variant::Nothing()); }),
            kErrNoSuchMember);
}

TEST_F(PropertyTest, ReadHandsOnTheHostsValueWithoutConversion) {
  EXPECT_TRUE(Bound("V", "Long")->Value() == Variant(int16_t{5}));
  // With "Font" the result must be an object.
  EXPECT_EQ(ErrorOf([&] { Bound("V", "Font")->Value(); }), kErrTypeMismatch);
  Object o = MakeRef<Collection>();
  spy_->value = Variant(o);
  EXPECT_EQ(Bound("V", "Font")->Value().ToObject(), o);
}

TEST_F(PropertyTest, ReadOnlyIsAdvisoryAndFollowsInvokeKinds) {
  auto p = Bound("V", "Long");
  for (int32_t k : {2, 0}) {
    p->SetInvokeKinds(k);
    EXPECT_TRUE(p->ReadOnly()) << k;
  }
  for (int32_t k : {4, 6, 8, 10, 12, 14}) {
    p->SetInvokeKinds(k);
    EXPECT_FALSE(p->ReadOnly()) << k;
  }
  p->SetInvokeKinds(2);
  p->LetValue(Variant(int32_t{9}));  // still reaches the host
  EXPECT_EQ(spy_->calls, 1);
  p->LetReadOnly(false);
  EXPECT_FALSE(p->ReadOnly());
  p->SetInvokeKinds(2);  // the next internal set wins
  EXPECT_TRUE(p->ReadOnly());
}

TEST_F(PropertyTest, NewDescriptorHasNoHostAndEmptyCollections) {
  Object o = CreateObject("Borvane.Property");
  auto p = o.As<Property>();
  ASSERT_TRUE(p);
  EXPECT_EQ(p->Name(), String(""));
  EXPECT_FALSE(p->HostObj());
  EXPECT_EQ(p->EnumeratedOptions()->Count(), 0);
  EXPECT_EQ(p->CollectionType()->Count(), 0);
  EXPECT_FALSE(p->ReadOnly());
  EXPECT_EQ(ErrorOf([&] { p->Value(); }), kErrObjectNotSet);
  EXPECT_EQ(ErrorOf([&] { p->LetValue(Variant(1)); }), kErrObjectNotSet);
  // Category stores any Long.
  CallByName(o, "Category", VbLet, {Variant(int32_t{77})});
  EXPECT_TRUE(CallByName(o, "category", VbGet) == Variant(int32_t{77}));
  // EnumeratedOptions is the stored collection itself.
  EXPECT_EQ(CallByName(o, "EnumeratedOptions", VbGet).ToObject(), Object(p->EnumeratedOptions()));
  auto mine = MakeRef<Collection>();
  CallByName(o, "CollectionType", VbSet, {Variant(mine)});
  EXPECT_EQ(p->CollectionType(), mine);
}

TEST_F(PropertyTest, LateBoundValueIsTheDefaultMemberAndIsChangedStaysSilent) {
  Object p = Bound("V", "Long");
  int fired = 0;
  ConnectEvents(p, "IsChanged", [&](std::vector<Variant>&) { ++fired; });
  CallByName(p, "Value", VbLet, {Variant("12")});
  EXPECT_TRUE(spy_->value == Variant(int32_t{12}));
  EXPECT_TRUE(DefaultValue(p) == Variant(int32_t{12}));
  EXPECT_EQ(fired, 0);

  const InterfaceInfo* events = p->GetClassInfo().events;
  ASSERT_NE(events, nullptr);
  EXPECT_EQ(events->name, String("__Property"));
  ASSERT_EQ(events->members.size(), 1u);
  EXPECT_EQ(events->members[0].name, String("IsChanged"));
  EXPECT_EQ(events->members[0].help_string, String("Fired if the Property is changed"));
  // Library-internal members are not on the interface.
  EXPECT_EQ(ErrorOf([&] { CallByName(p, "SetName", VbMethod, {Variant("x")}); }), kErrNoSuchMember);
  EXPECT_EQ(ErrorOf([&] { CallByName(p, "InvokeKinds", VbGet); }), kErrNoSuchMember);
}

TEST(PropertiesTest, AddItemRemoveAndTheirErrors) {
  auto props = MakeRef<Properties>();
  auto a = MakeRef<Property>();
  a->SetName("Alpha");
  auto b = MakeRef<Property>();
  b->SetName("Beta");
  String none, key("Other");
  props->Add(a, none);
  props->Add(b, key);
  EXPECT_EQ(props->Count(), 2);
  Variant k("alpha"), k2("OTHER"), pos(int32_t{2});
  EXPECT_EQ(props->Item(k), a);
  EXPECT_EQ(props->Item(k2), b);
  EXPECT_EQ(props->Item(pos), b);
  String dup("ALPHA");
  EXPECT_EQ(ErrorOf([&] { props->Add(b, dup); }), kErrKeyAlreadyUsed);
  Variant missing("Beta"), zero(int32_t{0}), three(int32_t{3});
  EXPECT_EQ(ErrorOf([&] { props->Item(missing); }), kErrInvalidCall);
  EXPECT_EQ(ErrorOf([&] { props->Item(zero); }), kErrSubscript);
  EXPECT_EQ(ErrorOf([&] { props->Remove(three); }), kErrSubscript);
  props->Remove(k);
  EXPECT_EQ(props->Count(), 1);

  // Late-bound: creation by name, Add without a key, default member, enumeration.
  Object o = CreateObject("Borvane.Properties");
  CallByName(o, "Add", VbMethod, {Variant(a)});
  CallByName(o, "Add", VbMethod, {Variant(b), Variant("")});
  EXPECT_EQ(CallByName(o, "Item", VbGet, {Variant("beta")}).ToObject(), Object(b));
  int seen = 0;
  ForEach(o, [&](const Variant& v) { seen += v.ToObject() ? 1 : 0; });
  EXPECT_EQ(seen, 2);
  EXPECT_TRUE(CallByName(o, "Count", VbGet) == Variant(int32_t{2}));
  CallByName(o, "Remove", VbMethod, {Variant(int32_t{1})});
  EXPECT_TRUE(CallByName(o, "Count", VbGet) == Variant(int32_t{1}));
}

TEST(PropertiesTest, LateBoundRefreshAndValue) {
  Object props = CreateObject("Borvane.Properties");
  Object host = MakeRef<Spy>();
  CallByName(props, "Refresh", VbMethod, {Variant(host)});
  // V has get, let and set: its type comes from the get, a Variant.
  Object v = CallByName(props, "Item", VbGet, {Variant("V")}).ToObject();
  EXPECT_TRUE(CallByName(v, "ReadOnly", VbGet) == Variant(false));
  EXPECT_TRUE(CallByName(v, "Value", VbGet) == Variant(int16_t{5}));
  EXPECT_EQ(ErrorOf([&] { CallByName(props, "Refresh", VbMethod, {Variant(int32_t{1})}); }),
            kErrTypeMismatch);
}

}  // namespace
}  // namespace borvane
