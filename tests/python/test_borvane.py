"""The Python module: objects by ProgID, members by name, values both ways, errors, events."""
import configparser
import datetime
import decimal
import inspect
import os
import pydoc
import threading
import time

import pytest

import borvane


def test_string_builder_as_in_the_readme():
    builder = borvane.CreateObject("Borvane.CStringBuilder")
    builder.Append("Hello, ")
    builder.Append("world")
    assert builder.ToString() == "Hello, world"
    assert borvane.Dispatch("borvane.cstringbuilder") is not None  # ProgIDs are case-blind


def test_document_built_written_read_and_selected():
    doc = borvane.CreateObject("Borvane.Doc")
    # Add writes the key it generates back: the call gives the node and that key.
    node, key = doc.Add(Name="root", Value="1")
    assert key == node.Key == "N1"
    iag_child = 4
    child, _ = doc.Add(key, iag_child, borvane.Missing, "child", 2.5)  # the marker in the middle
    assert len(doc) == 2 and [n.Name for n in doc] == ["root", "child"]
    assert doc[key].Name == "root" and doc(key).Name == "root"  # the default member
    text = doc.WriteXML()
    assert child.WriteXMLNode() == "<child>\n2.5\n</child>\n"  # the text it writes back
    copy = borvane.CreateObject("Borvane.Doc")
    copy.ReadXML(text)
    assert copy.WriteXML() == text
    assert [n.Path() for n in copy.SelectNodes("child")] == ["root//child"]
    doc.PathSeparator = "."
    assert doc.PathSeparator == "."


def test_plain_results_and_tuples_only_where_a_member_writes_back():
    assert borvane._written_back() == [
        ("Doc.Add", ("Key",)),
        ("DocNode.WriteXMLNode", ("XMLText",)),
        ("FontFunctions.GetTTFontInfo", ("TTFInfo",)),
        ("FontFunctions.GetBitmapFontInfo", ("BitmapInfo",)),
        ("FontFunctions.FontFamilyname", ("sStyle",)),
        ("FontFunctions.FontFilename", ("sFontStyle",)),
        ("FontFunctions.GetFontStylename", ("sBold", "sItalic")),
        ("FontFunctions.UnInstallBitmapFont", ("strSourcePath",)),
        ("FontFunctions.UnInstallTTFont", ("strSourcePath",)),
        ("HTMLHelp.EnsureFileExists", ("FileToFind",)),
    ]
    ini = borvane.CreateObject("Borvane.Inifile")
    ini.WriteKey("PHP", "engine", "On")
    assert ini.GetKeyValue("PHP", "engine") == "On"  # by-reference arguments, plain result
    assert ini.GetSection("PHP", ";", True) == "On"
    fonts = borvane.CreateObject("Borvane.FontFunctions")
    found, info = fonts.GetTTFontInfo("/usr/share/fonts/truetype/dejavu/", "DejaVuSans-Bold.ttf")
    assert found and (info.FontFamily, info.FontStyle) == ("DejaVu Sans", "Bold")
    assert "FontName" in dir(info) and repr(info).startswith("FONTINFO(")
    # A record given goes in by reference and comes back changed.
    info.FontStyle = "none yet"
    found, info = fonts.GetTTFontInfo("/usr/share/fonts/truetype/dejavu/", "DejaVuSans.ttf", info)
    assert info.FontStyle == "Book"
    assert fonts.FontFamilyname("DejaVu Sans Bold") == ("DejaVu Sans", "Bold")
    # The type information that callers inspect still shows every by-reference parameter.
    props = borvane.CreateObject("Borvane.Properties")
    props.Refresh(ini)
    assert [p.Name for p in props] == ["Sections"]


def test_protocols_raise_what_python_raises():
    timer = borvane.CreateObject("Borvane.Timer")
    for use, message in [(len, "has no len()"), (iter, "is not iterable"),
                         (lambda t: t[1], "is not subscriptable"), (lambda t: t(), "not callable")]:
        with pytest.raises(TypeError, match=message):
            use(timer)
    assert bool(timer) and "Timer" in repr(timer) and "Elapsed" in dir(timer)
    doc = borvane.CreateObject("Borvane.Doc")
    assert not doc and list(doc) == []
    doc.Add(Name="root")
    with pytest.raises(KeyError) as missing:
        doc["nothing"]
    assert isinstance(missing.value, borvane.Error) and missing.value.number == 5
    with pytest.raises(IndexError) as beyond:
        doc[2]
    assert isinstance(beyond.value, borvane.Error) and beyond.value.number == 9
    with pytest.raises(borvane.KeyNotFound):
        doc.Item("nothing")  # the default member by name
    # A collection of objects gives no object for a name it lacks: a KeyError here too.
    ini = borvane.CreateObject("Borvane.Inifile")
    with pytest.raises(KeyError):
        ini.Sections["none"]
    assert ini.Sections.Item("none") is None
    with pytest.raises(AttributeError):
        doc.NoSuchMember
    with pytest.raises(TypeError):
        doc.Add(NoSuchParameter=1)


def test_help_shows_parameters_and_help_string():
    doc = borvane.CreateObject("Borvane.Doc")
    text = pydoc.render_doc(doc.Add, renderer=pydoc.plaintext)
    assert "Relationship=2," in text and "method of borvane.Object instance" in text
    assert str(inspect.signature(doc.Add)).startswith("(Relative=borvane.Missing, Relationship=2")
    assert "Key: String, optional, written back" in text
    assert "Gives a tuple: the DocNode, Key" in text
    assert str(inspect.signature(doc.WriteXML)) == "(indent=False, StartNodeKey='')"
    props = borvane.CreateObject("Borvane.Properties")
    assert props.Refresh.__name__ == "Refresh" and "AnyObj: Object" in props.Refresh.__doc__
    assert "Add" in dir(doc) and "NewEnum" not in dir(doc)
    assert repr(doc) == "<borvane.Doc object>"


def test_ini_file_read_changed_and_written(tmp_path):
    path = tmp_path / "options.ini"
    path.write_bytes(b"[General]\r\nName=Old \xe9\r\n")  # not UTF-8: Windows-1252
    ini = borvane.CreateObject("Borvane.Inifile")
    ini.ReadIniFile(str(path))
    assert ini.GetKeyValue("General", "Name") == "Old \u00e9"
    ini.WriteKey("General", "Name", "Caf\u00e9 \u0152")
    ini.WriteIniFile(str(path))
    assert b"Name=Caf\xe9 \x8c" in path.read_bytes()  # the file keeps its code page


def test_ini_values_agree_with_configparser_on_a_utf8_file():
    skin = "/usr/share/mc/skins/double-lines.ini"
    if not os.path.exists(skin):
        pytest.skip("mc-data is not installed")
    ini = borvane.CreateObject("Borvane.Inifile")
    ini.ReadIniFile(skin)
    parser = configparser.ConfigParser(interpolation=None)
    parser.optionxform = str
    parser.read(skin, encoding="utf-8")
    # "#" begins a comment for configparser only: the profile functions take such a line with
    # "=" as a key.
    ours = {s.SectionName: {k.KeyName: k.KeyValue for k in s.Keys if k.KeyName[0] != "#"}
            for s in ini.Sections}
    theirs = {s: dict(parser[s]) for s in parser.sections()}
    assert ours == theirs and ours["Lines"]["horiz"] == "\u2500"


def test_font_settings_round_trip():
    font = borvane.CreateObject("Borvane.Fontobj")
    font.FontName = "DejaVu Sans"
    font.FontSize = 12
    font.FontBold = True
    xml = font.GetXML()
    other = borvane.CreateObject("Borvane.Fontobj")
    other.SetXML(xml)
    assert (other.FontName, other.FontSize, other.FontBold) == ("DejaVu Sans", 12, True)


def test_values_both_ways():
    call = borvane.CreateObject("Borvane.Doc")
    node, _ = call.Add(Name="n")
    for value in ["text", 7, 2.5, True, decimal.Decimal("12.3456"),
                  datetime.datetime(1899, 12, 29, 6, 0), datetime.datetime(2026, 11, 24, 23, 5),
                  None, [1, ["a", 2.5]]]:
        node.Value = value
        assert node.Value == value
    with pytest.raises(borvane.Error) as raised:
        node.Value = 2**40
    assert raised.value.number == 6
    help_object = borvane.CreateObject("Borvane.HTMLHelp")
    help_object.HHMsgText = ""
    assert help_object.HHMsgText == ""  # empty, not null


def test_font_paths_take_either_separator():
    fonts = borvane.CreateObject("Borvane.FontFunctions")
    for path in ("/usr/share/fonts/truetype/dejavu/DejaVuSerif.ttf",
                 "\\usr\\share\\fonts\\truetype\\dejavu\\DejaVuSerif.ttf"):
        assert fonts.GetFontName(path) == "DejaVu Serif"


def test_errors_carry_number_source_and_description():
    doc = borvane.CreateObject("Borvane.Doc")
    with pytest.raises(borvane.Error) as raised:
        doc.Remove("nothing")
    error = raised.value
    assert error.number == -2147171403 and error.source == "Doc:Remove Method"
    assert str(error) == f"{error.source}: {error.description} (error {error.number})"
    with pytest.raises(borvane.Error) as raised:
        borvane.CreateObject("Borvane.NoSuchClass")
    assert raised.value.number == 429


def test_timer_ticks_while_other_threads_run():
    timer = borvane.CreateObject("Borvane.TimerEvent")
    ticks = []
    cookie = borvane.connect(timer, "Timer", lambda *args: ticks.append(time.monotonic()))
    timer.Interval = 20
    timer.Enabled = True
    counted = []
    stop = threading.Event()

    def count():
        n = 0
        while not stop.is_set():
            n += 1
        counted.append(n)

    other = threading.Thread(target=count)
    other.start()
    deadline = time.monotonic() + 5
    while len(ticks) < 3 and time.monotonic() < deadline:
        borvane.run_loop(0.2)
    stop.set()
    other.join()
    timer.Enabled = False
    borvane.disconnect(timer, cookie)
    assert len(ticks) >= 3
    # The other thread ran while the loop waited: a held lock would have kept it at a few
    # hundred steps at most.
    assert counted[0] > 100000


def test_an_error_in_an_event_handler_ends_run_loop():
    timer = borvane.CreateObject("Borvane.TimerEvent")

    def fail(*args):
        raise ValueError("from the handler")

    cookie = borvane.connect(timer, "Timer", fail)
    timer.Interval = 10
    timer.Enabled = True
    started = time.monotonic()
    with pytest.raises(ValueError, match="from the handler"):
        borvane.run_loop(5)
    assert time.monotonic() - started < 2
    timer.Enabled = False
    borvane.disconnect(timer, cookie)


def test_help_file_by_a_linux_path(tmp_path):
    import shutil
    import subprocess
    if not shutil.which("chmcmd"):
        pytest.skip("chmcmd (Debian fp-utils) compiles the test help file")
    source = os.path.join(os.environ.get("BORVANE_SOURCE_DIR", os.path.dirname(__file__) + "/../.."),
                          "tests/data/help")
    shutil.copytree(source, tmp_path / "help")
    subprocess.run(["chmcmd", "--verbosity", "0", "manual.hhp"], cwd=tmp_path / "help",
                   check=True, capture_output=True)
    help_object = borvane.CreateObject("Borvane.HTMLHelp")
    help_object.CHMFile = str(tmp_path / "help" / "manual.chm")
    help_object.HHTopicID = 1001
    help_object.HHDisplayTopicID()
    assert help_object.HHWndHandle != 0
