"""The Python module against the C++ library (through the drutils tool, which is
the same library), against ezdxf (Debian's python3-ezdxf), and on its own:
values, round trips, errors, and what `import drutils` loads."""

import glob
import json
import os
import subprocess
import sys

import pytest

import drutils

DATA = os.environ["DRUTILS_TEST_DATA"]
TOOL = os.environ["DRUTILS_TOOL"]
TABLES = sorted(glob.glob(os.path.join(DATA, "*.ctb")) + glob.glob(os.path.join(DATA, "*.stb")))
CONFIGS = sorted(glob.glob(os.path.join(DATA, "*.pc3")) + glob.glob(os.path.join(DATA, "*.pmp")))


def tool(*args, check=True):
    done = subprocess.run([TOOL, *args], capture_output=True, text=True)
    if check:
        assert done.returncode == 0, done.stderr
    return done


def without_presentation(data):
    """The document as build reads it: "presentation" members are for people."""
    if isinstance(data, dict):
        return {k: without_presentation(v) for k, v in data.items() if k != "presentation"}
    if isinstance(data, list):
        return [without_presentation(v) for v in data]
    return data


def test_the_test_data_is_there():
    assert len(TABLES) >= 7 and len(CONFIGS) >= 3


# ---------------------------------------------------------------- plot style tables


@pytest.mark.parametrize("path", TABLES, ids=os.path.basename)
def test_a_table_is_the_data_the_library_shows(path):
    table = drutils.PlotStyleTable.read(path)
    shown = json.loads(tool("style", "show", "--json", path).stdout)
    assert without_presentation(table.to_dict()) == without_presentation(shown)
    assert table.is_color_dependent == (shown["kind"] == "colour-dependent")
    assert len(table) == len(shown["styles"])
    for style, data in zip(table, shown["styles"]):
        assert style.name == data["name"]
        assert style.screen == data["screen"]
        assert style.lineweight == data["lineweight"]
        assert style.lineweight_mm == data["presentation"]["lineweight_mm"]
        assert style.color_value == data["color"]


@pytest.mark.parametrize("path", TABLES, ids=os.path.basename)
def test_a_table_reads_as_ezdxf_reads_it(path):
    acadctb = pytest.importorskip("ezdxf.addons.acadctb", reason="python3-ezdxf is installed by the install script")
    theirs = acadctb.load(path)
    ours = drutils.PlotStyleTable.read(path)
    assert ours.description == theirs.description
    assert ours.scale_factor == pytest.approx(theirs.scale_factor)
    assert ours.apply_factor == theirs.apply_factor
    assert ours.custom_lineweights == pytest.approx(list(theirs.lineweights), abs=1e-6)
    if ours.is_color_dependent:
        pairs = [(ours.style_for_color(aci), theirs[aci]) for aci in range(1, 256)]
    else:
        pairs = [(ours.find(name), theirs[name]) for name in theirs]
    assert pairs
    for mine, other in pairs:
        assert mine is not None
        assert mine.name == other.name
        assert mine.description == other.description
        assert mine.color_value & 0xFFFFFFFF == other._color & 0xFFFFFFFF, mine.name
        # With plain dithering both take the colour from the colour value; with
        # another policy this library plots the mode colour (a named style
        # "colorBlack" of a real file stores the object's colour index as its
        # colour and black as its mode colour), which ezdxf does not read.
        if mine.to_dict()["color_policy"] == 1:
            assert mine.color == (None if other.has_object_color() else tuple(other.color)), mine.name
        assert mine.screen == other.screen
        assert mine.lineweight == other.lineweight
        assert mine.linetype == other.linetype
        assert mine.physical_pen == other.physical_pen_number
        assert mine.virtual_pen == other.virtual_pen_number
        assert mine.dither == other.dithering
        assert mine.grayscale == other.grayscale
        assert mine.adaptive_linetype == other.adaptive_linetype
        assert (mine.fill_style, mine.end_style, mine.join_style) == (
            other.fill_style,
            other.end_style,
            other.join_style,
        )
        assert mine.linepattern_size == pytest.approx(other.linepattern_size)


@pytest.mark.parametrize("path", TABLES, ids=os.path.basename)
def test_tables_go_round(path, tmp_path):
    table = drutils.PlotStyleTable.read(path)
    out = tmp_path / ("again" + os.path.splitext(path)[1])
    table.save(out)
    assert drutils.PlotStyleTable.read(out).to_dict() == table.to_dict()
    # from_dict reverses to_dict, to the byte of what the library writes.
    rebuilt = tmp_path / ("rebuilt" + os.path.splitext(path)[1])
    drutils.PlotStyleTable.from_dict(table.to_dict()).save(rebuilt)
    assert rebuilt.read_bytes() == out.read_bytes()


def test_editing_a_table(tmp_path):
    table = drutils.PlotStyleTable.new()
    assert table.is_color_dependent and len(table) == 255 and table[-1].name == "Color_255"
    pen = table.style_for_color(3)
    pen.color = (10, 20, 30)
    pen.screen = 40
    pen.lineweight = 9
    pen.description = "green pen"
    pen.dither = False
    pen.physical_pen = 12
    table.description = "office"
    table.custom_lineweights = [0.1 * (k + 1) for k in range(27)]
    out = tmp_path / "office.ctb"
    table.save(out)
    back = drutils.PlotStyleTable.read(out).style_for_color(3)
    assert (back.color, back.screen, back.lineweight, back.description) == ((10, 20, 30), 40, 9, "green pen")
    assert back.lineweight_mm == 0.9
    assert (back.dither, back.physical_pen) == (False, 12)
    shown = json.loads(tool("style", "show", "--json", str(out)).stdout)
    assert shown["description"] == "office"
    assert shown["styles"][2]["screen"] == 40
    # The object's colour again.
    pen.color = None
    assert pen.color is None

    named = table.to_named()
    assert not named.is_color_dependent
    assert named[0].name == "Normal"
    assert named.find("no such style") is None
    with pytest.raises(drutils.Error):
        named.style_for_color(1)


def test_values_the_file_cannot_hold_are_refused_at_once():
    table = drutils.PlotStyleTable.new()
    pen = table[0]
    before = pen.to_dict()
    for field, value in [
        ("screen", 140),
        ("screen", -1),
        ("lineweight", 28),
        ("linetype", 32),
        ("physical_pen", 256),
        ("fill_style", -1),
        ("linepattern_size", float("inf")),
        ("description", "two\nlines"),
        ("description", "a { brace"),
        ("color", (256, 0, 0)),
        ("color_value", 2**40),
    ]:
        with pytest.raises(ValueError):
            setattr(pen, field, value)
    assert pen.to_dict() == before
    with pytest.raises(drutils.Error, match=r"styles\[0\]\.screen: 140 is not 0\.\.100"):
        pen.screen = 140
    with pytest.raises(ValueError):
        table.custom_lineweights = [1.0] * 26
    with pytest.raises(ValueError):
        table.custom_lineweights = [1000.0] * 27


def test_table_errors(tmp_path):
    with pytest.raises(FileNotFoundError):
        drutils.PlotStyleTable.read(tmp_path / "missing.ctb")
    garbage = tmp_path / "garbage.ctb"
    garbage.write_bytes(b"PIAFILEVERSION_2.0,CTBVER1,compress\r\npmzlibcodec" + bytes(range(256)) * 4)
    with pytest.raises(drutils.Error) as caught:
        drutils.PlotStyleTable.read(garbage)
    assert isinstance(caught.value, ValueError)
    assert str(garbage) in str(caught.value)
    with pytest.raises(drutils.Error):
        drutils.PlotStyleTable.read(tmp_path)
    existing = tmp_path / "exists.ctb"
    existing.write_bytes(b"keep")
    with pytest.raises(FileExistsError):
        drutils.PlotStyleTable.new().save(existing)
    assert existing.read_bytes() == b"keep"
    drutils.PlotStyleTable.new().save(existing, force=True)
    assert len(drutils.PlotStyleTable.read(existing)) == 255
    with pytest.raises(drutils.Error, match=r"styles\[0\]"):
        drutils.PlotStyleTable.from_dict({"kind": "named", "styles": [{"name": "Normal", "screen": "full"}]})
    with pytest.raises(IndexError):
        drutils.PlotStyleTable.new()[255]


def test_bad_input_never_crashes_the_interpreter(tmp_path):
    # Every prefix of a real table, and the real table with bytes flipped: a
    # refusal or a table, never a crash (run in a child, which would show one).
    script = """
import os, sys, drutils
data = open(sys.argv[1], "rb").read()
path = os.path.join(sys.argv[2], "t.ctb")
for n in list(range(0, len(data), 97)) + [len(data) - 1]:
    for variant in (data[:n], data[:n] + bytes([data[n] ^ 0x55]) + data[n + 1:]):
        open(path, "wb").write(variant)
        try:
            drutils.PlotStyleTable.read(path)
        except drutils.Error:
            pass
print("ok")
"""
    done = subprocess.run(
        [sys.executable, "-c", script, os.path.join(DATA, "color-dependent-factory.ctb"), str(tmp_path)],
        capture_output=True,
        text=True,
    )
    assert done.returncode == 0, done.stderr
    assert done.stdout == "ok\n"


# ---------------------------------------------------------------- printer configurations


@pytest.mark.parametrize("path", CONFIGS, ids=os.path.basename)
def test_a_configuration_is_the_data_the_library_shows(path, tmp_path):
    cfg = drutils.PrinterConfig.read(path)
    model = path.endswith(".pmp")
    shown = json.loads(tool("pmp" if model else "pc3", "show", "--json", path).stdout)
    assert without_presentation(cfg.to_dict()) == without_presentation(shown)
    assert cfg.is_model_file == model
    assert cfg.driver_path == shown["meta"]["driver_pathname"]
    if not model:
        size = shown["media"]["size"]
        assert cfg.paper == {
            "name": size["name"],
            "width_mm": size["media_description"]["media_bounds"]["urx"],
            "height_mm": size["media_description"]["media_bounds"]["ury"],
        }
        assert cfg.custom_values == {v["name"]: v.get("value") for v in shown["custom"] or []}
    out = tmp_path / os.path.basename(path)
    cfg.save(out)
    assert drutils.PrinterConfig.read(out).to_dict() == without_presentation(cfg.to_dict()) | {
        "presentation": drutils.PrinterConfig.read(out).to_dict()["presentation"]
    }
    rebuilt = tmp_path / ("rebuilt" + os.path.splitext(path)[1])
    drutils.PrinterConfig.from_dict(cfg.to_dict()).save(rebuilt)
    assert rebuilt.read_bytes() == out.read_bytes()
    with pytest.raises(FileExistsError):
        cfg.save(out)


def test_configuration_errors(tmp_path):
    with pytest.raises(FileNotFoundError):
        drutils.PrinterConfig.read(tmp_path / "none.pc3")
    bad = tmp_path / "bad.pc3"
    bad.write_text("not a configuration")
    with pytest.raises(drutils.Error):
        drutils.PrinterConfig.read(bad)


# ---------------------------------------------------------------- settings


@pytest.fixture
def settings(tmp_path):
    return drutils.Settings(tmp_path / "registry.db")


def test_settings_keep_their_types(settings, tmp_path):
    values = {"n": -5, "f": 0.25, "yes": True, "s": "text ü", "b": b"\x00\xff"}
    for key, value in values.items():
        settings.set("Setup", key, value)
    got = settings.list("Setup")
    assert got == {**values, "yes": 1}
    assert settings.get(17, "s") == "text ü"
    # The tool reads the same store.
    env = dict(os.environ, DRUTILS_REGISTRY_DB=settings.path)
    done = subprocess.run([TOOL, "config", "get", "Setup", "n"], capture_output=True, text=True, env=env)
    assert done.stdout == "-5\n"
    settings.set("Setup", "edge", 2**31 - 1)
    settings.set("Setup", "edge", -(2**31))
    for too_wide in (2**31, -(2**31) - 1, 2**70):
        with pytest.raises(OverflowError):
            settings.set("Setup", "wide", too_wide)
    with pytest.raises(KeyError):
        settings.get("Setup", "wide")
    settings.delete("Setup", "n")
    with pytest.raises(KeyError):
        settings.get("Setup", "n")
    with pytest.raises(ValueError):
        settings.get("Nowhere", "n")
    with pytest.raises(TypeError):
        settings.set("Setup", "list", [1])


def test_profiles_and_registry_files(settings, tmp_path):
    assert settings.profiles() == [] and settings.current_profile is None
    env = dict(os.environ, DRUTILS_REGISTRY_DB=settings.path)
    for name in ("Work", "Home"):
        subprocess.run([TOOL, "profile", "create", name], check=True, env=env)
    assert sorted(settings.profiles()) == ["Home", "Work"]
    settings.use_profile("Work")
    assert settings.current_profile == "Work"
    settings.set("Config", "k", 3)
    with pytest.raises(KeyError):
        settings.use_profile("Nobody")
    out = tmp_path / "work.reg"
    settings.export("V17x64/en_US/Profiles/Work", out)
    assert "[HKEY_CURRENT_USER\\Software\\Corvane\\Draftium\\V17x64\\en_US\\Profiles\\Work\\Config]" in out.read_text()
    with pytest.raises(FileExistsError):
        settings.export("Profiles", out)
    settings.delete("Config", "k")
    settings.import_file(out)
    assert settings.get("Config", "k") == 3
    with pytest.raises(FileNotFoundError):
        settings.import_file(tmp_path / "missing.reg")


# ---------------------------------------------------------------- lock files


def test_lock_status(tmp_path):
    drawing = tmp_path / "plan.dwg"
    drawing.write_bytes(b"")
    assert drutils.lock_status(drawing) is None
    with open(os.path.join(DATA, "drawing.dwl"), "rb") as peer:
        (tmp_path / "plan.dwl").write_bytes(peer.read())
    status = drutils.lock_status(drawing)
    assert status["user"] == "neil"
    assert status["machine"].strip() == "AUTOSCAN-WK07W7"
    assert status["since"].startswith("Thursday, September 10, 2020")
    assert status["holder"] == "other"


# ---------------------------------------------------------------- the module itself


def test_import_loads_neither_gtk_nor_cups():
    done = subprocess.run(
        [sys.executable, "-c", "import drutils; print(open('/proc/self/maps').read())"],
        capture_output=True,
        text=True,
        check=True,
    )
    maps = done.stdout
    assert "libdrutils.so" in maps
    for banned in ("libgtk", "libgdk", "libX11", "libcups", "libdrutils_print", "libwx_gtk"):
        assert banned not in maps, banned


def test_documentation_reads_like_documentation():
    doc = drutils.PlotStyleTable.__doc__
    assert "to_dict()" in doc and "Example" in doc
    assert drutils.PlotStyleTable.read.__doc__
    assert issubclass(drutils.Error, ValueError)
    stubs = os.path.join(os.path.dirname(drutils.__file__), "__init__.pyi")
    assert "class PlotStyleTable" in open(stubs).read()
