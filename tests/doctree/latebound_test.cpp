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
  EXPECT_EQ(CallByName(doc, "Count", VbGet), Variant(int32_t{2}));
  Object kid = CallByName(doc, "Item", VbGet, {"n2"}).ToObject();
  EXPECT_EQ(CallByName(kid, "Path", VbMethod), Variant("Root//Kid"));
  EXPECT_EQ(CallByName(kid, "Parent", VbGet).ToObject(), root);
  EXPECT_EQ(CallByName(doc, "WriteXML", VbMethod, {true}),
            Variant("<Root>\n\t<Kid>\n\t12.5\n\t</Kid>\n</Root>\n"));
  CallByName(kid, "Name", VbLet, {"Renamed"});
  Object attrs = CallByName(kid, "Attributes", VbGet).ToObject();
  CallByName(attrs, "Add", VbMethod, {"a"});
  EXPECT_EQ(TypeName(Variant(attrs)), Variant("Attributes"));
  EXPECT_EQ(CallByName(doc, "WriteXML", VbMethod),
            Variant("<Root>\n<Renamed a=>\n12.5\n</Renamed>\n</Root>\n"));
  std::vector<Variant> none = {};
  EXPECT_EQ(CallByName(kid, "SelectSingleNode", VbMethod, {"renamed"}).ToObject(), kid);
  CallByName(doc, "ReadXML", VbMethod, {"<more></more>", "N1"});
  EXPECT_EQ(CallByName(doc, "Count", VbGet), Variant(int32_t{3}));
  Object sel = CallByName(doc, "SelectNodes", VbMethod, {"Root//more"}).ToObject();
  EXPECT_EQ(CallByName(sel, "Count", VbGet), Variant(int32_t{1}));
  int count = 0;
  ForEach(doc, [&](const Variant&) { ++count; });
  EXPECT_EQ(count, 3);
  CallByName(doc, "PathSeparator", VbLet, {"."});
  EXPECT_EQ(CallByName(kid, "Path", VbMethod), Variant("Root.Renamed"));
  CallByName(doc, "Clear", VbMethod);
  EXPECT_EQ(CallByName(doc, "Count", VbGet), Variant(int32_t{0}));
  // The errors a script sees.
  Error e = Raised([&] { CallByName(kid, "Name", VbLet, {"a b"}); });
  EXPECT_EQ(e.Number(), 102);
  EXPECT_TRUE(
      IsGuarded(Raised([&] { CallByName(doc, "Remove", VbMethod, {"N1"}); }), "Doc:Remove Method"));
  // Only Doc is creatable from outside.
  EXPECT_EQ(Raised([&] { CreateObject("Borvane.DocNode"); }).Number(), 429);
  EXPECT_EQ(Raised([&] { CreateObject("Borvane.Attributes"); }).Number(), 429);
  // Library-internal members are not on the interface.
  EXPECT_EQ(Raised([&] { CallByName(kid, "RemoveNode", VbMethod, {""}); }).Number(), 438);
  EXPECT_EQ(Raised([&] { CallByName(doc, "AddExistingNode", VbMethod, {kid}); }).Number(), 438);
}

TEST(LateBoundTest, InterfaceOrderAndDefaults) {
  const InterfaceInfo& doc = Doc::StaticClassInfo().default_interface;
  std::vector<std::string> names;
  for (const MemberInfo& m : doc.members) names.push_back(U8(m.name));
  EXPECT_EQ(names, (std::vector<std::string>{"Add", "Item", "Count", "Remove", "NewEnum", "Clear",
                                             "WriteXML", "ReadXML", "PathSeparator",
                                             "PathSeparator", "SelectNodes", "CreateKey"}));
  EXPECT_EQ(U8(doc.name), "_Doc");
  const MemberInfo& add = doc.members[0];
  ASSERT_EQ(add.params.size(), 5u);
  EXPECT_TRUE(add.params[2].by_ref && add.params[2].optional);
  EXPECT_EQ(add.params[1].default_value, Variant(int32_t{2}));
  EXPECT_EQ(U8(add.params[1].type.desc->Name()), "enumRelationship");
  const InterfaceInfo& node = DocNode::StaticClassInfo().default_interface;
  EXPECT_EQ(U8(node.members.front().name), "Root");
  EXPECT_EQ(U8(node.members.back().name), "SelectSingleNode");
}

}  // namespace
}  // namespace borvane::testing
