// The writer of the document's text form: one element per node, a value line for a leaf with
// a value, tabs by Level when indenting, and "{\34}" as the only escape.
#include <climits>
#include <vector>

#include "borvane/automation/convert.h"
#include "borvane/automation/error.h"
#include "borvane/doctree/doc.h"
#include "borvane/frame/error_handling.h"
#include "borvane/frame/string_builder.h"

namespace borvane {

namespace {

void AppendValueText(std::u16string& out, const Variant& value) {
  switch (value.VarType()) {
    case vbString:
      out += u'"';
      for (char16_t ch : value.StringRef().view()) {
        if (ch == u'"') {
          out += u"{\\34}";
        } else {
          out += ch;
        }
      }
      out += u'"';
      break;
    case vbBoolean:
      out += *value.GetIf<bool>() ? u"True" : u"False";
      break;
    case vbEmpty:
    case vbNull:
      break;  // a line with only the indentation
    default:
      out += CStr(value).view();  // objects and arrays fail here
      break;
  }
}

}  // namespace

void DocNode::WriteNode(std::u16string& out, bool indent) {
  struct Frame {
    DocNode* node;
    DocNode* next_child;
    int32_t level;
  };
  Ref<DocNode> keep(this);
  std::vector<Frame> stack;
  auto tabs = [&](int32_t level) {
    if (indent) out.append(static_cast<size_t>(level), u'\t');
  };
  auto open = [&](DocNode* n, int32_t level) {
    tabs(level);
    out += u'<';
    out += n->mstrName.view();
    // A node whose Attributes was never read has none; the writer need not make it.
    if (n->mobjAttributes && n->mobjAttributes->Count() > 0) {
      out += u' ';
      n->mobjAttributes->AppendAttributeString(out);
    }
    out += u">\n";
    if (!n->mobjChild && !n->mvntValue.IsMissing()) {
      tabs(level);
      AppendValueText(out, n->mvntValue);
      out += u'\n';
    }
    stack.push_back({n, n->mobjChild.Get(), level});
  };
  // Level counts from the top of the tree; below the first node it goes up by one per step.
  open(this, indent ? Level() : 0);
  while (!stack.empty()) {
    Frame& top = stack.back();
    if (DocNode* child = top.next_child) {
      top.next_child = child->mobjNextSibling.Get();
      int32_t level = 0;
      if (indent) level = child->mobjParent == top.node ? top.level + 1 : child->Level();
      open(child, level);
      continue;
    }
    tabs(top.level);
    out += u"</";
    out += top.node->mstrName.view();
    out += u">\n";
    stack.pop_back();
  }
  // The builder counts its bytes in a Long.
  if (out.size() > static_cast<size_t>(INT32_MAX / 2)) ThrowPlatformError(kErrOverflow);
}

void DocNode::WriteNode(CStringBuilder& builder, bool& indent) {
  std::u16string out;
  WriteNode(out, indent);
  builder.AppendText(out);
}

void DocNode::WriteXMLNode(String& XMLText, bool& indent) {
  std::u16string out;
  WriteNode(out, indent);
  XMLText = String(std::move(out));
}

String Doc::WriteXML(bool& indent, String& StartNodeKey) {
  return Guarded("Doc:WriteXML Method", [&] {
    Ref<DocNode> start = Item(Variant(int32_t{1}));
    if (!StartNodeKey.empty()) start = Item(Variant(StartNodeKey));
    // The text is collected in a buffer that grows by doubling, rather than in a CStringBuilder,
    // whose fixed growth steps would make writing a large tree quadratic; the text is the same.
    std::u16string out;
    start->WriteNode(out, indent);
    return String(std::move(out));
  });
}

}  // namespace borvane
