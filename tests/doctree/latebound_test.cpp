// The classes through late binding, as a script client uses them.
#include <gtest/gtest.h>

#include "borvane/automation/dispatch.h"
#include "doctree_test_util.h"

namespace borvane::testing {
namespace {

TEST(LateBoundTest, DocThroughCreateObjectAndCallByName) {
  Object doc = CreateObject("Borvane.Doc");
  std::vector<Variant> add = {Variant::Missing(), Variant::Missing(), String(), "Root"};
  Object root = CallByName(doc, "Add", VbMethod, add).ToObject();
  EXPECT_EQ(add[2], Variant("N1"));  // the generated key comes back by reference
  std::vector<Variant> child = {"N1", int32_t{iagChild}, Variant::Missing(), "Kid", 12.5};
  CallByName(doc, "Add", VbMethod, child);
  EXPECT_EQ(Get(doc, "Count"), Variant(int32_t{2}));
  Object kid = Get(doc, "Item", {"n2"}).ToObject();
  EXPECT_EQ(Call(kid, "Path"), Variant("Root//Kid"));
  EXPECT_EQ(Get(kid, "Parent").ToObject(), root);
  EXPECT_EQ(Call(doc, "WriteXML", {true}), Variant("<Root>\n\t<Kid>\n\t12.5\n\t</Kid>\n</Root>\n"));
  Let(kid, "Name", "Renamed");
  Object attrs = Get(kid, "Attributes").ToObject();
  Call(attrs, "Add", {"a"});
  EXPECT_EQ(TypeName(Variant(attrs)), Variant("Attributes"));
  EXPECT_EQ(Call(doc, "WriteXML"), Variant("<Root>\n<Renamed a=>\n12.5\n</Renamed>\n</Root>\n"));
  EXPECT_EQ(Call(kid, "SelectSingleNode", {"renamed"}).ToObject(), kid);
  Call(doc, "ReadXML", {"<more></more>", "N1"});
  EXPECT_EQ(Get(doc, "Count"), Variant(int32_t{3}));
  Object sel = Call(doc, "SelectNodes", {"Root//more"}).ToObject();
  EXPECT_EQ(Get(sel, "Count"), Variant(int32_t{1}));
  int count = 0;
  ForEach(doc, [&](const Variant&) { ++count; });
  EXPECT_EQ(count, 3);
  Let(doc, "PathSeparator", ".");
  EXPECT_EQ(Call(kid, "Path"), Variant("Root.Renamed"));
  Call(doc, "Clear");
  EXPECT_EQ(Get(doc, "Count"), Variant(int32_t{0}));
  // The errors a script sees.
  EXPECT_EQ(ErrorOf([&] { Let(kid, "Name", "a b"); }), 102);
  EXPECT_TRUE(IsGuarded(Raised([&] { Call(doc, "Remove", {"N1"}); }), "Doc:Remove Method"));
  // Only Doc is creatable from outside; library-internal members are not on the interface.
  for (const char* other : {"Borvane.DocNode", "Borvane.Attributes"})
    EXPECT_EQ(ErrorOf([&] { CreateObject(other); }), 429);
  EXPECT_EQ(ErrorOf([&] { Call(kid, "RemoveNode", {""}); }), 438);
  EXPECT_EQ(ErrorOf([&] { Call(doc, "AddExistingNode", {kid}); }), 438);
}

TEST(LateBoundTest, InterfaceOrderAndDefaults) {
  const InterfaceInfo& doc = Doc::StaticClassInfo().default_interface;
  std::vector<std::string> names;
  for (const MemberInfo& m : doc.members) names.push_back(U8(m.name));
  EXPECT_EQ(names, (std::vector<std::string>{"Add", "Item", "Count", "Remove", "NewEnum", "Clear",
                                             "WriteXML", "ReadXML", "PathSeparator",
                                             "PathSeparator", "SelectNodes", "CreateKey"}));
  EXPECT_EQ(doc.members[0].params[1].default_value, Variant(int32_t{2}));
}

}  // namespace
}  // namespace borvane::testing
