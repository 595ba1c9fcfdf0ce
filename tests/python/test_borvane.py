"""The Python module: objects by ProgID, members by name, values both ways, errors, events."""
import datetime
import decimal
import os
import time

import pytest

import borvane


def result(value):
    """The result of a call that also gives back its by-reference arguments."""
    return value[0] if isinstance(value, tuple) else value


def test_string_builder_as_in_the_readme():
    builder = borvane.CreateObject("Borvane.CStringBuilder")
    builder.Append("Hello, ")
    builder.Append("world")
    assert result(builder.ToString()) == "Hello, world"
    assert borvane.Dispatch("borvane.cstringbuilder") is not None  # ProgIDs are case-blind


def test_document_built_written_read_and_selected():
    doc = borvane.CreateObject("Borvane.Doc")
    # The by-reference arguments given come back behind the result: here the generated key.
    node, key, _name, _value = doc.Add(Key="", Name="root", Value="1")
    assert key == node.Key and key
    iag_child = 4
    doc.Add(key, iag_child, borvane.Missing, "child", 2.5)  # the missing marker in the middle
    assert len(doc) == 2 and [n.Name for n in doc] == ["root", "child"]
    assert doc[key].Name == "root" and doc(key).Name == "root"  # the default member
    text = result(doc.WriteXML())
    copy = borvane.CreateObject("Borvane.Doc")
    copy.ReadXML(text)
    assert result(copy.WriteXML()) == text
    assert [n.Path() for n in result(copy.SelectNodes("child"))] == ["root//child"]
    doc.PathSeparator = "."
    assert doc.PathSeparator == "."
    assert "Add" in dir(doc) and "NewEnum" not in dir(doc)
    assert "Add([Relative]" in doc.Add.__doc__


def test_ini_file_read_changed_and_written(tmp_path):
    path = tmp_path / "options.ini"
    path.write_bytes(b"[General]\r\nName=Old\r\n")
    ini = borvane.CreateObject("Borvane.Inifile")
    ini.ReadIniFile(str(path))
    assert result(ini.GetKeyValue("General", "Name")) == "Old"
    ini.WriteKey("General", "Name", "Caf\u00e9")
    ini.WriteIniFile(str(path))
    assert b"Name=Caf\xe9" in path.read_bytes()  # the file's code page


def test_font_settings_round_trip():
    font = borvane.CreateObject("Borvane.Fontobj")
    font.FontName = "DejaVu Sans"
    font.FontSize = 12
    font.FontBold = True
    xml = result(font.GetXML())
    other = borvane.CreateObject("Borvane.Fontobj")
    other.SetXML(xml)
    assert (other.FontName, other.FontSize, other.FontBold) == ("DejaVu Sans", 12, True)


def test_values_both_ways():
    call = borvane.CreateObject("Borvane.Doc")
    node = result(call.Add(Name="n"))
    for value in ["text", 7, 2.5, True, decimal.Decimal("12.3456"),
                  datetime.datetime(1899, 12, 29, 6, 0), datetime.datetime(2026, 11, 24, 23, 5),
                  None, [1, ["a", 2.5]]]:
        node.Value = value
        assert node.Value == value
    with pytest.raises(borvane.Error) as raised:
        node.Value = 2**40
    assert raised.value.number == 6


def test_records_and_null_strings():
    fonts = borvane.CreateObject("Borvane.FontFunctions")
    found, _dir, _file, info = fonts.GetTTFontInfo(
        "/usr/share/fonts/truetype/dejavu/", "DejaVuSans-Bold.ttf", None)
    assert found and (info.FontFamily, info.FontStyle) == ("DejaVu Sans", "Bold")
    assert "FontName" in dir(info) and repr(info).startswith("FONTINFO(")
    # A record given goes in by reference and comes back changed.
    info.FontStyle = "none yet"
    _, _, _, info = fonts.GetTTFontInfo("/usr/share/fonts/truetype/dejavu/", "DejaVuSans.ttf", info)
    assert info.FontStyle == "Book"
    help_object = borvane.CreateObject("Borvane.HTMLHelp")
    help_object.HHMsgText = ""
    assert help_object.HHMsgText == ""  # empty, not null


def test_font_paths_take_either_separator():
    fonts = borvane.CreateObject("Borvane.FontFunctions")
    for path in ("/usr/share/fonts/truetype/dejavu/DejaVuSerif.ttf",
                 "\\usr\\share\\fonts\\truetype\\dejavu\\DejaVuSerif.ttf"):
        name, _path = fonts.GetFontName(path)
        assert name == "DejaVu Serif"


def test_errors_carry_number_source_and_description():
    doc = borvane.CreateObject("Borvane.Doc")
    with pytest.raises(borvane.Error) as raised:
        doc.Item("nothing")
    error = raised.value
    assert error.number == 5 and error.source and error.description
    assert str(error) == f"{error.source}: {error.description} (error 5)"
    with pytest.raises(borvane.Error) as raised:
        borvane.CreateObject("Borvane.NoSuchClass")
    assert raised.value.number == 429
    with pytest.raises(AttributeError):
        doc.NoSuchMember
    with pytest.raises(TypeError):
        doc.Add(NoSuchParameter=1)


def test_timer_ticks_three_times():
    timer = borvane.CreateObject("Borvane.TimerEvent")
    ticks = []
    cookie = borvane.connect(timer, "Timer", lambda *args: ticks.append(time.monotonic()))
    timer.Interval = 20
    timer.Enabled = True
    deadline = time.monotonic() + 5
    while len(ticks) < 3 and time.monotonic() < deadline:
        borvane.run_loop(0.05)
    timer.Enabled = False
    borvane.disconnect(timer, cookie)
    assert len(ticks) >= 3
