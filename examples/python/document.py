"""Builds a settings document, writes it as XML, reads it back and selects nodes.

Run from a build:  PYTHONPATH=build/default/python python3 examples/python/document.py
"""
import borvane

IAG_CHILD = 4  # Doc.Add's relationship that makes the new node a child of its relative

doc = borvane.CreateObject("Borvane.Doc")
# Add writes the key it generates back into its Key argument: the call gives the new node and
# that key. Calls of members that write nothing back give their result alone.
root, key = doc.Add(Name="settings", Value="")
doc.Add(key, IAG_CHILD, borvane.Missing, "width", 640)
doc.Add(key, IAG_CHILD, borvane.Missing, "title", "Main window")

text = doc.WriteXML(True)
print(text)

copy = borvane.CreateObject("Borvane.Doc")
copy.ReadXML(text)
for node in copy.SelectNodes("width"):
    print(node.Path(), "=", node.Value)

try:
    copy["missing"]
except KeyError as error:  # also a borvane.Error, with the library's number
    print("error", error.number, error.description)
