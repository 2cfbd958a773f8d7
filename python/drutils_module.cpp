// The Python module over the base library: plot style tables, printer
// configuration and model files, the settings store and lock files. It loads
// libdrutils only, so that `import drutils` maps neither GTK nor CUPS.
//
// Errors: a file that is not there raises FileNotFoundError, one that exists
// raises FileExistsError where a save would replace it, anything the library
// refuses raises drutils.Error (a ValueError) with the library's reason.
#include <cctype>
#include <climits>
#include <cmath>
#include <cstring>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <wx/init.h>
#include <wx/log.h>

#include "cfg_source.h"
#include "cli.h"
#include "platform/files.h"
#include "platform/regstore.h"
#include "plotcfg.h"
#include "plotstyletable.h"
#include "store_cli.h"
#include "style_source.h"
#include "ut_config.h"
#include "ut_filelock.h"
#include "ut_filename.h"

namespace py = pybind11;

namespace {

// ---------------------------------------------------------------- the library's log

// What the library logs during one call, so that an exception carries its reason
// instead of the text going to standard error.
class CallLog : public wxLog {
public:
    std::vector<std::string> errors, warnings;

protected:
    void DoLogRecord(wxLogLevel level, const wxString& msg, const wxLogRecordInfo&) override {
        if (level <= wxLOG_Error)
            errors.push_back(cli::utf8(msg.ToStdWstring()));
        else if (level <= wxLOG_Warning)
            warnings.push_back(cli::utf8(msg.ToStdWstring()));
    }
};

class Capture {
public:
    Capture() : m_previous(wxLog::SetActiveTarget(&m_log)) {}
    ~Capture() { wxLog::SetActiveTarget(m_previous); }
    // The first error the library logged, else fallback.
    std::string reason(const std::string& fallback) const {
        return m_log.errors.empty() ? fallback : m_log.errors.front();
    }
    const std::vector<std::string>& warnings() const { return m_log.warnings; }

private:
    CallLog m_log;
    wxLog* m_previous;
};

py::object g_error; // drutils.Error

[[noreturn]] void raiseError(const std::string& message) {
    PyErr_SetString(g_error.ptr(), message.c_str());
    throw py::error_already_set();
}

// Warnings the library gave go to Python's warnings, where a script sees them.
void warn(const Capture& log) {
    for (const auto& w : log.warnings())
        if (PyErr_WarnEx(PyExc_UserWarning, w.c_str(), 1) != 0)
            throw py::error_already_set();
}

// ---------------------------------------------------------------- paths

// A path as Python gives it (str or os.PathLike): the file system's bytes, so
// that names that are not UTF-8 name their files, as in the tool.
std::string fsPath(const py::object& path) {
    py::object bytes = py::module_::import("os").attr("fsencode")(path);
    return bytes.cast<std::string>();
}

OdString widePath(const std::string& bytes) { return cli::wide(bytes); }

void requireFile(const std::string& path) {
    if (ut::platform::entryKind(widePath(path)) == ut::platform::EntryKind::None) {
        PyErr_SetObject(PyExc_FileNotFoundError,
                        py::make_tuple(2, "No such file or directory", py::bytes(path).attr("decode")(
                                                                               "utf-8", "surrogateescape"))
                            .ptr());
        throw py::error_already_set();
    }
    if (std::string why = cli::checkInput(path); !why.empty())
        raiseError(why);
}

void refuseExisting(const std::string& path, bool force) {
    const auto kind = ut::platform::entryKind(widePath(path));
    if (kind == ut::platform::EntryKind::None)
        return;
    if (kind != ut::platform::EntryKind::Regular)
        raiseError(path + ": not a regular file, which is never replaced");
    if (!force) {
        PyErr_SetObject(PyExc_FileExistsError,
                        py::make_tuple(17, "File exists (force=True replaces it)",
                                       py::bytes(path).attr("decode")("utf-8", "surrogateescape"))
                            .ptr());
        throw py::error_already_set();
    }
}

// ---------------------------------------------------------------- JSON <-> Python

py::object toPython(const source::Json& j) {
    // Through the source form's own text, so that file names that are not UTF-8
    // come out as the same \udcXX escapes as in the tool's output.
    return py::module_::import("json").attr("loads")(source::dump(j));
}

source::Json fromPython(const py::handle& value) {
    const std::string text =
        py::module_::import("json").attr("dumps")(value, py::arg("allow_nan") = false).cast<std::string>();
    return source::parse(text);
}

[[noreturn]] void raiseFault(const source::Fault& f) { raiseError(f.what()); }

// ---------------------------------------------------------------- plot style tables

struct Table {
    std::unique_ptr<CPlotStyleTable> t;
};

// A style is reached through its table, which it keeps alive.
struct Style {
    std::shared_ptr<Table> table;
    int index;

    CPlotStyle& get() const {
        CPlotStyle* s = table->t->style(index);
        if (!s)
            throw py::index_error("the style is no longer in its table");
        return *s;
    }
    // Sets a member through the source form's rules: a refused value raises at
    // once and leaves the style as it was.
    void set(const char* member, const source::Json& value) {
        try {
            PlotStyleSource::setStyleMember(*table->t, index, member, value);
        } catch (const source::Fault& f) {
            raiseFault(f);
        }
    }
};

std::shared_ptr<Table> readTable(const py::object& path) {
    const std::string p = fsPath(path);
    requireFile(p);
    Capture log;
    OdString why;
    std::unique_ptr<CPlotStyleTable> t(CPlotStyleTable::read(widePath(p), &why));
    if (!t)
        raiseError(p + ": " + (why.isEmpty() ? log.reason("not a plot style table") : cli::utf8(why)));
    warn(log);
    return std::make_shared<Table>(Table{std::move(t)});
}

// A real as the file keeps it, as the shortest decimal that reads back as that
// (0.35, not 0.3499999940395355), as to_dict() gives it.
py::object storedReal(double v) { return toPython(source::stored(v)); }

py::object rgbOf(int rgb) {
    if (rgb < 0)
        return py::none();
    return py::make_tuple((rgb >> 16) & 0xFF, (rgb >> 8) & 0xFF, rgb & 0xFF);
}

// The plotted colour as (r, g, b), None for the object's colour, as the tool
// shows it.
py::object plottedColour(const CPlotStyle& s) {
    const std::string hex = source::plottedColour(s);
    if (hex.size() != 7 || hex[0] != '#')
        return py::none();
    return rgbOf(int(std::strtol(hex.c_str() + 1, nullptr, 16)));
}

void setColour(Style& st, const py::object& value) {
    CPlotStyle s = st.get();
    if (value.is_none()) {
        s.updateColor(-1);
    } else {
        auto rgb = value.cast<std::vector<long>>();
        if (rgb.size() != 3)
            raiseError("a colour is (r, g, b) or None for the object's colour");
        for (long c : rgb)
            if (c < 0 || c > 255)
                raiseError("a colour's parts are 0..255, not " + std::to_string(c));
        s.updateColor(int((rgb[0] << 16) | (rgb[1] << 8) | rgb[2]));
    }
    st.get() = s;
}

source::Json styleJson(const Style& st) {
    st.get();
    return PlotStyleSource::styleToJson(*st.table->t, st.index);
}

void bindTables(py::module_& m) {
    py::class_<Style>(m, "PlotStyle", R"(One pen of a plot style table.

Reached through its table (``table[i]``, ``table.find(name)``,
``table.style_for_color(aci)``), which it keeps alive. Assigning a value the
file cannot hold raises ``drutils.Error`` at once and leaves the style as it was.)")
        .def_property_readonly("name", [](const Style& s) { return cli::utf8(s.get().name()); },
                               "The style's name (for colour-dependent tables, from its colour).")
        .def_property_readonly("localized_name", [](const Style& s) { return cli::utf8(s.get().locName()); })
        .def_property(
            "description", [](const Style& s) { return cli::utf8(s.get().desc()); },
            [](Style& s, const std::string& v) { s.set("description", source::text(cli::wide(v))); })
        .def_property("color", [](const Style& s) { return plottedColour(s.get()); }, setColour,
                      "The plotted colour as (r, g, b), or None for the object's own colour. Setting it "
                      "also picks the nearest palette colour for readers that ignore true colours.")
        .def_property(
            "color_value", [](const Style& s) { return s.get().color(); },
            [](Style& s, long long v) {
                // The stored 32-bit pattern, signed or not, as the file keeps it.
                if (v < INT32_MIN || v > UINT32_MAX)
                    raiseError("color_value: " + std::to_string(v) + " is not a 32-bit value");
                s.set("color", int(uint32_t(v)));
            },
            "The colour as stored (method in the top byte).")
        .def_property(
            "screen", [](const Style& s) { return s.get().screen(); },
            [](Style& s, py::object v) { s.set("screen", fromPython(v)); }, "Screening, 0..100 percent.")
        .def_property(
            "lineweight", [](const Style& s) { return s.get().lineWeight(); },
            [](Style& s, py::object v) { s.set("lineweight", fromPython(v)); },
            "The lineweight's number: 0 the object's own, k the table's custom lineweight k-1 (1..27).")
        .def_property_readonly(
            "lineweight_mm",
            [](const Style& s) -> py::object {
                const double mm = s.table->t->lineWeights().forStyle(s.get().lineWeight());
                if (mm < 0)
                    return py::none();
                return storedReal(mm);
            },
            "The lineweight in millimetres, None for the object's own.")
        .def_property(
            "linetype", [](const Style& s) { return s.get().lineType(); },
            [](Style& s, py::object v) { s.set("linetype", fromPython(v)); }, "0..31; 31 is the object's linetype.")
        .def_property(
            "adaptive_linetype", [](const Style& s) { return s.get().isAdaptiveLinetype(); },
            [](Style& s, py::object v) { s.set("adaptive_linetype", fromPython(v)); })
        .def_property(
            "physical_pen", [](const Style& s) { return s.get().pen(); },
            [](Style& s, py::object v) { s.set("physical_pen_number", fromPython(v)); }, "0 (automatic) to 255.")
        .def_property(
            "virtual_pen", [](const Style& s) { return s.get().virtualPen(); },
            [](Style& s, py::object v) { s.set("virtual_pen_number", fromPython(v)); }, "0 (automatic) to 255.")
        .def_property(
            "fill_style", [](const Style& s) { return s.get().fillStyle(); },
            [](Style& s, py::object v) { s.set("fill_style", fromPython(v)); })
        .def_property(
            "end_style", [](const Style& s) { return s.get().endStyle(); },
            [](Style& s, py::object v) { s.set("end_style", fromPython(v)); })
        .def_property(
            "join_style", [](const Style& s) { return s.get().joinStyle(); },
            [](Style& s, py::object v) { s.set("join_style", fromPython(v)); })
        .def_property(
            "dither", [](const Style& s) { return s.get().isDither(); },
            [](Style& s, bool on) {
                s.set("color_policy", on ? s.get().color_policy() | CPlotStyle::kPolicyDither
                                         : s.get().color_policy() & ~CPlotStyle::kPolicyDither);
            })
        .def_property(
            "grayscale", [](const Style& s) { return s.get().isGrayScale(); },
            [](Style& s, bool on) {
                s.set("color_policy", on ? s.get().color_policy() | CPlotStyle::kPolicyGrayScale
                                         : s.get().color_policy() & ~CPlotStyle::kPolicyGrayScale);
            })
        .def_property(
            "linepattern_size", [](const Style& s) { return storedReal(s.get().linepattern_size()); },
            [](Style& s, py::object v) { s.set("linepattern_size", fromPython(v)); })
        .def("to_dict", [](const Style& s) { return toPython(styleJson(s)); },
             "The style as the table's to_dict() gives it.")
        .def("__repr__", [](const Style& s) {
            return "<drutils.PlotStyle " + cli::utf8(s.get().name()) + " of " +
                   (s.table->t->useACI() ? "a colour-dependent" : "a named") + " table>";
        });

    py::class_<Table, std::shared_ptr<Table>>(m, "PlotStyleTable", R"(A plot style table: colour-dependent (.ctb) or named (.stb).

Read one with ``PlotStyleTable.read(path)``, make one with
``PlotStyleTable.new()``, change its styles and properties, and ``save`` it.
``to_dict()`` gives the same data as ``drutils style show --json``, and
``from_dict`` builds a table from such data.

Example::

    t = drutils.PlotStyleTable.read("monochrome.ctb")
    for aci in (1, 2, 3):
        t.style_for_color(aci).screen = 50
    t.save("monochrome.ctb", force=True)
)")
        .def_static("read", &readTable, py::arg("path"),
                    "Reads a .ctb or .stb file. FileNotFoundError when there is none; drutils.Error, with "
                    "the reason, when it is no readable table.")
        .def_static(
            "new",
            [](bool colourDependent) {
                Capture log;
                std::unique_ptr<CPlotStyleTable> t(CPlotStyleTable::create(colourDependent));
                if (!t)
                    raiseError(log.reason("no table could be made"));
                return std::make_shared<Table>(Table{std::move(t)});
            },
            py::arg("color_dependent") = true,
            "A new table with default styles: Color_1..Color_255, or the single style Normal.")
        .def_static(
            "from_dict",
            [](const py::object& d) {
                try {
                    return std::make_shared<Table>(Table{PlotStyleSource::fromJson(fromPython(d), nullptr)});
                } catch (const source::Fault& f) {
                    raiseFault(f);
                }
            },
            py::arg("data"), "The table that to_dict() data describe; drutils.Error names the member at fault.")
        .def(
            "to_dict", [](const Table& t) { return toPython(PlotStyleSource::toJson(*t.t, nullptr)); },
            "Every value of the table, as drutils style show --json gives it (without the file's name).")
        .def(
            "save",
            [](const Table& t, const py::object& path, bool force) {
                const std::string p = fsPath(path);
                refuseExisting(p, force);
                Capture log;
                if (std::string why = PlotStyleSource::write(*t.t, p, true); !why.empty())
                    raiseError(why);
            },
            py::arg("path"), py::arg("force") = false,
            "Writes the table whole or not at all. An existing file is replaced only with force=True "
            "(FileExistsError otherwise). The header follows the extension (.ctb or .stb).")
        .def(
            "to_named",
            [](const Table& t) {
                Capture log;
                std::unique_ptr<CPlotStyleTable> named(ctb2stb(*t.t));
                if (!named)
                    raiseError("only a colour-dependent table converts to a named one");
                return std::make_shared<Table>(Table{std::move(named)});
            },
            "A named table in which colours that plot alike share one style.")
        .def_property_readonly("is_color_dependent", [](const Table& t) { return t.t->useACI(); })
        .def_property(
            "description", [](const Table& t) { return cli::utf8(t.t->desc()); },
            [](Table& t, const std::string& v) {
                // Checked as the file prints it, through a document with the one change.
                source::Json j = PlotStyleSource::toJson(*t.t, nullptr);
                j["description"] = source::text(cli::wide(v));
                CPBlock block(L"table");
                block.add(new CPStr(L"description", cli::wide(v).c_str()));
                OdString why;
                if (!CPIAFileOut::canStore(&block, &why))
                    raiseError("description: " + cli::utf8(why).substr(cli::utf8(why).find(": ") + 2));
                t.t->setDesc(cli::wide(v));
            })
        .def_property(
            "scale_factor", [](const Table& t) { return storedReal(t.t->scaleFactor()); },
            [](Table& t, double v) {
                const auto back = source::roundTrip(v);
                if (!(v > 0) || !back)
                    raiseError("scale_factor: " + std::to_string(v) + " cannot be stored");
                t.t->setScaleFactor(v);
            })
        .def_property(
            "apply_factor", [](const Table& t) { return t.t->applyFactor(); },
            [](Table& t, bool on) { t.t->setApplyFactor(on); })
        .def_property(
            "custom_lineweights",
            [](const Table& t) {
                py::list mm;
                for (int k = 0; k < CCustomLineweightTable::kSize; ++k)
                    mm.append(storedReal(t.t->lineWeights().at(k)));
                return mm;
            },
            [](Table& t, const std::vector<double>& mm) {
                if (mm.size() != size_t(CCustomLineweightTable::kSize))
                    raiseError("custom_lineweights: a table has 27, not " + std::to_string(mm.size()));
                CCustomLineweightTable copy = t.t->lineWeights();
                for (int k = 0; k < CCustomLineweightTable::kSize; ++k)
                    if (!copy.set(k, mm[size_t(k)]) || !source::roundTrip(mm[size_t(k)]))
                        raiseError("custom_lineweights[" + std::to_string(k) + "]: " + std::to_string(mm[size_t(k)]) +
                                   " is not 0.." + std::to_string(int(CCustomLineweightTable::kMaxMillimetres)) +
                                   " mm");
                t.t->lineWeights() = copy;
            },
            "The 27 custom lineweights in millimetres; lineweight k of a style plots with entry k-1.")
        .def("__len__", [](const Table& t) { return t.t->size(); })
        .def(
            "__getitem__",
            [](const std::shared_ptr<Table>& t, long i) {
                if (i < 0)
                    i += t->t->size();
                if (i < 0 || i >= t->t->size())
                    throw py::index_error("no style at that position");
                return Style{t, int(i)};
            },
            py::arg("i"))
        .def("__iter__",
             [](const std::shared_ptr<Table>& t) {
                 py::list styles;
                 for (int i = 0; i < t->t->size(); ++i)
                     styles.append(Style{t, i});
                 return py::iter(styles);
             })
        .def(
            "style_for_color",
            [](const std::shared_ptr<Table>& t, int aci) {
                if (!t->t->useACI())
                    raiseError("a named table has no styles by colour");
                if (aci < 1 || aci > CAciTable::kSize)
                    throw py::index_error("a colour index is 1..255");
                const CPlotStyle* s = t->t->ACI().at(aci);
                for (int i = 0; i < t->t->size(); ++i)
                    if (t->t->style(i) == s)
                        return Style{t, i};
                raiseError("colour " + std::to_string(aci) + " has no style");
            },
            py::arg("aci"), "The style that plots objects of colour index aci (1..255).")
        .def(
            "find",
            [](const std::shared_ptr<Table>& t, const std::string& name) -> py::object {
                const CPlotStyle* s = t->t->find(cli::wide(name));
                for (int i = 0; s && i < t->t->size(); ++i)
                    if (t->t->style(i) == s)
                        return py::cast(Style{t, i});
                return py::none();
            },
            py::arg("name"), "The style of that name, or None.")
        .def("__repr__", [](const Table& t) {
            return std::string("<drutils.PlotStyleTable ") + (t.t->useACI() ? "colour-dependent" : "named") + ", " +
                   std::to_string(t.t->size()) + " styles>";
        });
}

// ---------------------------------------------------------------- printer configurations

struct Config {
    bool model = false;
    std::unique_ptr<CPlotCfg3> cfg;
    std::unique_ptr<PlotModelParam> pmp;
    bool intact = true;

    const CMetaNode& meta() const { return model ? pmp->meta : cfg->meta; }
    source::Json json() const { return model ? source::pmpToJson(*pmp, nullptr) : source::cfgToJson(*cfg, intact, nullptr); }
};

OdString deviceName(const CMetaNode& meta) {
    return !meta.winDeviceName.isEmpty() ? meta.winDeviceName : meta.localizedModelName;
}

bool endsWithNoCase(const std::string& s, const char* tail) {
    const size_t n = std::strlen(tail);
    if (s.size() < n)
        return false;
    for (size_t i = 0; i < n; ++i)
        if (std::tolower(static_cast<unsigned char>(s[s.size() - n + i])) != tail[i])
            return false;
    return true;
}

std::shared_ptr<Config> readConfig(const py::object& path) {
    const std::string p = fsPath(path);
    requireFile(p);
    Capture log;
    auto c = std::make_shared<Config>();
    c->model = endsWithNoCase(p, ".pmp");
    if (c->model)
        c->pmp.reset(PlotModelParam::read(widePath(p)));
    else
        c->cfg.reset(CPlotCfg3::readStored(widePath(p), &c->intact));
    if (!c->cfg && !c->pmp)
        raiseError(p + ": " + log.reason(c->model ? "not a model file" : "not a printer configuration"));
    warn(log);
    return c;
}

void bindConfigs(py::module_& m) {
    py::class_<Config, std::shared_ptr<Config>>(m, "PrinterConfig", R"(A printer configuration (.pc3) or user-defined model file (.pmp).

``to_dict()`` gives the same data as ``drutils pc3 show --json`` (or ``pmp show
--json``); ``save`` writes the file back, keeping keys of other programs.)")
        .def_static("read", &readConfig, py::arg("path"), "Reads a .pc3 or .pmp file (by its extension).")
        .def_property_readonly("is_model_file", [](const Config& c) { return c.model; })
        .def_property_readonly(
            "device_name", [](const Config& c) { return cli::utf8(deviceName(c.meta())); },
            "The system printer it is for, else the model's name (as drutils pc3 show says).")
        .def_property_readonly("driver_path", [](const Config& c) { return cli::utf8(c.meta().driverPathname); })
        .def_property_readonly(
            "paper",
            [](const Config& c) -> py::object {
                if (c.model)
                    return py::none();
                // The sheet is media_bounds' upper-right corner (the origin is its lower left).
                const source::Json j = c.json();
                const source::Json& size = j["media"]["size"];
                const source::Json& bounds = size["media_description"]["media_bounds"];
                py::dict paper;
                paper["name"] = toPython(size["name"]);
                paper["width_mm"] = toPython(bounds["urx"]);
                paper["height_mm"] = toPython(bounds["ury"]);
                return paper;
            },
            "The selected paper: a dict of name, width_mm and height_mm (None for a model file).")
        .def_property_readonly(
            "custom_papers",
            [](const Config& c) {
                const source::Json j = c.json();
                if (!c.model && j.contains("media") && j["media"].contains("custom_papers") &&
                    j["media"]["custom_papers"].is_array())
                    return py::list(toPython(j["media"]["custom_papers"]));
                return py::list();
            },
            "The configuration's own paper sizes.")
        .def_property_readonly(
            "custom_values",
            [](const Config& c) {
                py::dict out;
                const source::Json j = c.json();
                if (!c.model && j.contains("custom") && j["custom"].is_array())
                    for (const auto& v : j["custom"])
                        out[toPython(v["name"])] = toPython(v.contains("value") ? v["value"] : source::Json());
                return out;
            },
            "The custom values by name.")
        .def("to_dict", [](const Config& c) { return toPython(c.json()); })
        .def_static(
            "from_dict",
            [](const py::object& d) {
                auto c = std::make_shared<Config>();
                try {
                    const source::Json j = fromPython(d);
                    c->model = source::isModelJson(j);
                    if (c->model)
                        c->pmp = std::make_unique<PlotModelParam>(source::pmpFromJson(j));
                    else
                        c->cfg = std::make_unique<CPlotCfg3>(source::cfgFromJson(j));
                } catch (const source::Fault& f) {
                    raiseFault(f);
                }
                return c;
            },
            py::arg("data"))
        .def(
            "save",
            [](const Config& c, const py::object& path, bool force) {
                const std::string p = fsPath(path);
                refuseExisting(p, force);
                if (!c.intact)
                    raiseError("the file's custom block could not be read: saving would lose it");
                Capture log;
                const int rc = c.model ? c.pmp->write(widePath(p)) : c.cfg->write(widePath(p));
                if (rc != 0)
                    raiseError(p + ": not written: " + log.reason("result " + std::to_string(rc)));
            },
            py::arg("path"), py::arg("force") = false)
        .def("__repr__", [](const Config& c) {
            return std::string("<drutils.PrinterConfig ") + (c.model ? "model file" : "configuration") + " " +
                   cli::utf8(deviceName(c.meta())) + ">";
        });
}

// ---------------------------------------------------------------- settings

ut::ECfgGroup groupOf(const py::object& g) {
    std::string text = py::isinstance<py::int_>(g) ? std::to_string(g.cast<long>()) : g.cast<std::string>();
    ut::ECfgGroup group;
    std::string error;
    if (!storecli::parseGroup(text, group, error))
        throw py::value_error(error);
    return group;
}

class Settings {
public:
    explicit Settings(const py::object& dbPath) {
        if (!dbPath.is_none()) {
            m_path = fsPath(dbPath);
            ::setenv("DRUTILS_REGISTRY_DB", m_path.c_str(), 1);
        } else {
            m_path = ut::platform::RegStore::currentUserPath();
        }
        // The settings object is one per process: it starts again on this store.
        ut::Config::unInitConfig();
        Capture log;
        ut::Config::initProfile(OdString());
        if (!log.reason("").empty())
            raiseError(log.reason(""));
    }

    py::object get(const py::object& g, const std::string& key) {
        const ut::ECfgGroup group = groupOf(g);
        const OdString k = cli::wide(key);
        Capture log;
        switch (ut::Config::entryType(group, k)) {
        case ut::kCfgTypeBinary: {
            wxMemoryBuffer buf;
            if (ut::Config::read(group, k, buf))
                return py::bytes(static_cast<const char*>(buf.GetData()), buf.GetDataLen());
            break;
        }
        case ut::kCfgTypeInteger:
        case ut::kCfgTypeBoolean: {
            long v = 0;
            if (ut::Config::read(group, k, v))
                return py::int_(v);
            break;
        }
        case ut::kCfgTypeFloat: {
            double v = 0;
            if (ut::Config::read(group, k, v))
                return py::float_(v);
            break;
        }
        default: {
            OdString v;
            if (ut::Config::hasEntry(group, k) && ut::Config::read(group, k, v))
                return py::str(cli::utf8(v));
            break;
        }
        }
        if (!log.reason("").empty())
            raiseError(log.reason(""));
        throw py::key_error(storecli::groupName(group) + "/" + key);
    }

    void set(const py::object& g, const std::string& key, const py::object& value) {
        const ut::ECfgGroup group = groupOf(g);
        const OdString k = cli::wide(key);
        if (k.isEmpty() || k.getAt(k.getLength() - 1) == L'/')
            throw py::value_error("the key names no entry");
        Capture log;
        bool ok;
        if (py::isinstance<py::bool_>(value)) {
            ok = ut::Config::writeBool(group, k, value.cast<bool>());
        } else if (py::isinstance<py::int_>(value)) {
            int overflow = 0;
            const long long v = PyLong_AsLongLongAndOverflow(value.ptr(), &overflow);
            if (overflow != 0 || v < INT32_MIN || v > INT32_MAX) {
                PyErr_SetString(PyExc_OverflowError,
                                (key + ": an integer setting is a 32-bit number, -2147483648 to 2147483647").c_str());
                throw py::error_already_set();
            }
            ok = ut::Config::writeLong(group, k, long(v));
        } else if (py::isinstance<py::float_>(value)) {
            ok = ut::Config::writeDouble(group, k, value.cast<double>());
        } else if (py::isinstance<py::str>(value)) {
            ok = ut::Config::writeString(group, k, cli::wide(value.cast<std::string>()));
        } else if (py::isinstance<py::bytes>(value)) {
            const std::string b = value.cast<std::string>();
            wxMemoryBuffer buf;
            buf.AppendData(b.data(), b.size());
            ok = ut::Config::writeBinary(group, k, buf);
        } else {
            throw py::type_error("a setting is an int, float, bool, str or bytes");
        }
        if (!ok)
            raiseError(log.reason(storecli::groupName(group) + "/" + key + ": not written"));
    }

    void remove(const py::object& g, const std::string& key) {
        const ut::ECfgGroup group = groupOf(g);
        Capture log;
        if (!ut::Config::hasEntry(group, cli::wide(key)))
            throw py::key_error(storecli::groupName(group) + "/" + key);
        if (!ut::Config::deleteEntry(group, cli::wide(key)))
            raiseError(log.reason(storecli::groupName(group) + "/" + key + ": not deleted"));
    }

    py::dict list(const py::object& g) {
        const ut::ECfgGroup group = groupOf(g);
        py::dict out;
        OdArray<OdString> names;
        Capture log;
        if (!ut::Config::listEntries(group, names)) {
            if (!log.reason("").empty())
                raiseError(log.reason(""));
            return out;
        }
        for (const auto& n : names) {
            const std::string name = cli::utf8(n);
            out[py::str(name)] = get(py::int_(int(group)), name);
        }
        return out;
    }

    std::vector<std::string> profiles() {
        Capture log;
        wxArrayString names;
        ut::getProfileNames(names);
        if (!log.reason("").empty())
            raiseError(log.reason(""));
        std::vector<std::string> out;
        for (const auto& n : names)
            out.push_back(cli::utf8(n.ToStdWstring()));
        return out;
    }

    py::object currentProfile() {
        const OdString name = ut::Config::currentProfileName();
        return name.isEmpty() ? py::object(py::none()) : py::object(py::str(cli::utf8(name)));
    }

    void useProfile(const std::string& name) {
        Capture log;
        if (!ut::profileExists(wxString(cli::wide(name).c_str())))
            throw py::key_error("no profile " + name);
        if (!ut::setCurrentProfileName(wxString(cli::wide(name).c_str())))
            raiseError(log.reason("profile " + name + " could not be made current"));
        ut::Config::initProfile(cli::wide(name));
    }

    void exportTo(const py::object& groupOrPath, const py::object& file, bool force) {
        const std::string out = fsPath(file);
        refuseExisting(out, force);
        Capture log;
        bool ok;
        if (py::isinstance<py::str>(groupOrPath) && groupOrPath.cast<std::string>().rfind("V", 0) == 0)
            ok = ut::Config::exportGroup(cli::wide(groupOrPath.cast<std::string>()), widePath(out), true);
        else
            ok = ut::Config::exportGroup(groupOf(groupOrPath), widePath(out), true);
        if (!ok)
            raiseError(log.reason(out + ": not written"));
    }

    void importFile(const py::object& file) {
        const std::string in = fsPath(file);
        requireFile(in);
        Capture log;
        if (!ut::Config::import(widePath(in), true))
            raiseError(log.reason(in + ": not imported"));
        warn(log);
    }

    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

void bindSettings(py::module_& m) {
    py::class_<Settings>(m, "Settings", R"(The application's settings store.

A group is a number (0..31) or a key word ("Setup", "Config", ...), as in
``drutils config``; profile-level groups are those of the current profile.
Values keep their Python type: int is the store's 32-bit integer
(OverflowError beyond it), float, bool, str and bytes their own kinds. One store is open per
process: a new Settings object switches to its store.)")
        .def(py::init<const py::object&>(), py::arg("db_path") = py::none(),
             "db_path: the store's file; None for DRUTILS_REGISTRY_DB or the user's default store.")
        .def_property_readonly("path", &Settings::path)
        .def("get", &Settings::get, py::arg("group"), py::arg("key"), "A value; KeyError when there is none.")
        .def("set", &Settings::set, py::arg("group"), py::arg("key"), py::arg("value"))
        .def("delete", &Settings::remove, py::arg("group"), py::arg("key"))
        .def("list", &Settings::list, py::arg("group"), "The group's values as a dict.")
        .def("profiles", &Settings::profiles, "The names of the profiles.")
        .def_property_readonly("current_profile", &Settings::currentProfile)
        .def("use_profile", &Settings::useProfile, py::arg("name"))
        .def("export", &Settings::exportTo, py::arg("group_or_path"), py::arg("file"), py::arg("force") = false,
             "Writes a group (or a key path such as \"V17x64/en_US/Profiles/Work\") as a registry file.")
        .def("import_file", &Settings::importFile, py::arg("file"),
             "Reads a registry file: profiles land below this language's profiles.");
}

// ---------------------------------------------------------------- lock files

py::object lockStatus(const py::object& drawing) {
    const std::string p = fsPath(drawing);
    const auto info = ut::FileLocker::holder(widePath(p));
    if (info.holder == ut::FileLocker::LockInfo::kNone)
        return py::none();
    py::dict d;
    d["user"] = cli::utf8(info.user);
    d["machine"] = cli::utf8(info.machine);
    d["since"] = cli::utf8(info.dateTime);
    d["holder"] = info.holder == ut::FileLocker::LockInfo::kCaller  ? "you"
                  : info.holder == ut::FileLocker::LockInfo::kOther ? "other"
                                                                    : "unreadable";
    if (!info.problem.isEmpty())
        d["problem"] = cli::utf8(info.problem);
    return d;
}

} // namespace

PYBIND11_MODULE(_drutils, m) {
    m.doc() = "Plot style tables, printer configurations, settings and lock files of Draftium (libdrutils).";
    // The library stands on wxWidgets' base library, which a program that is no
    // wxWidgets program starts once.
    static wxInitializer wx;
    if (!wx.IsOk())
        throw std::runtime_error("wxWidgets could not be initialised");
    g_error = py::exception<std::runtime_error>(m, "Error", PyExc_ValueError);
    m.attr("Error").attr("__doc__") = "A file or value the library refuses; the message says why (and where).";
    bindTables(m);
    bindConfigs(m);
    bindSettings(m);
    m.def("lock_status", &lockStatus, py::arg("drawing"),
          "Who holds a drawing: None when no lock file is there, else a dict with user, machine, since "
          "and holder ('you', 'other' or 'unreadable').");
}
