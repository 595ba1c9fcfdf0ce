"""Builds a settings document, writes it as XML, reads it back and selects nodes.

Run from a build:  PYTHONPATH=build/default/python python3 examples/python/document.py
"""
import borvane

IAG_CHILD = 4  # Doc.Add's relationship that makes the new node a child of its relative

doc = borvane.CreateObject("Borvane.Doc")
# The by-reference arguments given (Key, Name, Value) come back behind the result, so the
# key that Add generated for an empty Key is the second item.
root, key, _name, _value = doc.Add(Key="", Name="settings", Value="")
doc.Add(key, IAG_CHILD, borvane.Missing, "width", 640)
doc.Add(key, IAG_CHILD, borvane.Missing, "title", "Main window")

text = doc.WriteXML(True)[0]  # indent is by reference too
print(text)

copy = borvane.CreateObject("Borvane.Doc")
copy.ReadXML(text)
for node in copy.SelectNodes("width")[0]:
    print(node.Path(), "=", node.Value)

try:
    copy.Item("missing")
except borvane.Error as error:
    print("error", error.number, error.description)
