#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdarg>
#include <cstdlib>
#include <fstream>
#include <latch>
#include <string>
#include <thread>
#include <vector>

#include <wx/string.h>
#include <wx/translation.h>

#include "test_support.h"
#include "ut_messages.h"
#include "ut_messages_internal.h"
#include "ut_msgformat.h"

using testing_support::LogCapture;
using testing_support::runTool;
using testing_support::TempDir;
using testing_support::U;
using ut::msgformat::Arg;
using ut::msgformat::ArgKind;

namespace {

// The SDK calls with its own variadic arguments; this is how it hands them over.
OdString dwg(unsigned code, ...) {
    va_list args;
    va_start(args, code);
    OdString text = ut::formatDwgDirectMessage(code, &args);
    va_end(args);
    return text;
}

// The same list read twice: the function must leave the caller's list as it was.
OdString dwgTwice(unsigned code, ...) {
    va_list args;
    va_start(args, code);
    OdString first = ut::formatDwgDirectMessage(code, &args);
    OdString second = ut::formatDwgDirectMessage(code, &args);
    va_end(args);
    return first == second ? first : OdString(L"<list consumed>");
}

// The English texts as the data file has them (\n for a line feed, \\ for a backslash).
std::vector<std::wstring> dataFileTexts() {
    std::ifstream in(DRUTILS_SDK_MESSAGES_TSV, std::ios::binary);
    std::vector<std::wstring> texts;
    std::string line;
    while (std::getline(in, line)) {
        size_t tab = line.find('\t');
        if (tab == std::string::npos || std::stoul(line.substr(0, tab)) != texts.size())
            return {};
        std::string text;
        for (size_t i = tab + 1; i < line.size(); ++i) {
            if (line[i] == '\\' && i + 1 < line.size()) {
                text += line[i + 1] == 'n' ? '\n' : line[i + 1];
                ++i;
            } else {
                text += line[i];
            }
        }
        texts.push_back(testing_support::W(text).str());
    }
    return texts;
}

// No catalogue for the duration of a test, whatever the one before left behind.
class NoCatalogue : public testing::Test {
protected:
    void SetUp() override { wxTranslations::Set(nullptr); }
};

// Compiles tests/data/messages_de.po with msgfmt into DIR/de/LC_MESSAGES, as an
// application installs its catalogues, and makes it the catalogue in force.
class GermanCatalogue : public testing::Test {
protected:
    void SetUp() override {
        std::string folder = m_dir.path() + "/de/LC_MESSAGES";
        std::string command = "mkdir -p '" + folder + "' && msgfmt -o '" + folder + "/drutils_test.mo' '" +
                              testing_support::dataFile("messages_de.po") + "'";
        ASSERT_EQ(0, std::system(command.c_str())) << "msgfmt (gettext) is needed for the translation tests";
        wxFileTranslationsLoader::AddCatalogLookupPathPrefix(wxString::FromUTF8(m_dir.path()));
        auto* translations = new wxTranslations;
        translations->SetLanguage("de");
        wxTranslations::Set(translations);
        ASSERT_TRUE(translations->AddCatalog("drutils_test"));
    }
    void TearDown() override { wxTranslations::Set(nullptr); }

    const std::string& dir() const { return m_dir.path(); }

private:
    TempDir m_dir;
};

struct AccessorRow {
    const char* name;
    const wchar_t* (*accessor)();
    const wchar_t* english;
};

// Independent of the library's own list: a text changed there loses its translations.
const AccessorRow kAccessors[] = {
        {"angle", &ut::Messages::angle, L"An angle is needed. Please try again."},
        {"angle_or_2points", &ut::Messages::angle_or_2points, L"Please enter a numeric angle, or pick two points."},
        {"angle_or_2nd_point", &ut::Messages::angle_or_2nd_point, L"Please enter a numeric angle, or pick a second point."},
        {"angle_or_2nd_point_or_kword", &ut::Messages::angle_or_2nd_point_or_kword, L"Please enter a numeric angle, pick a second point, or choose an option."},
        {"dist", &ut::Messages::dist, L"A distance is needed. Please try again."},
        {"dist_or_2points", &ut::Messages::dist_or_2points, L"Please enter a distance, or pick two points."},
        {"dist_or_2points_or_kword", &ut::Messages::dist_or_2points_or_kword, L"Please enter a distance, pick two points, or choose an option."},
        {"dist_or_2nd_point", &ut::Messages::dist_or_2nd_point, L"Please enter a distance, or pick a second point."},
        {"dist_or_2nd_point_or_kword", &ut::Messages::dist_or_2nd_point_or_kword, L"Please enter a distance, pick a second point, or choose an option."},
        {"entity_type", &ut::Messages::entity_type, L"Unable to use the selected entity. Please pick again."},
        {"invalid_name", &ut::Messages::invalid_name, L"Unable to recognize entry as a valid name. Please try again."},
        {"invalid_entry", &ut::Messages::invalid_entry, L"Unable to recognize entry. Please try again."},
        {"no_attributed_blocks", &ut::Messages::no_attributed_blocks, L"This drawing does not contain blocks with attributes."},
        {"no_entity_found", &ut::Messages::no_entity_found, L"No entity was found there. Please pick again."},
        {"no_entities", &ut::Messages::no_entities, L"No entities selected."},
        {"no_suitable_entities", &ut::Messages::no_suitable_entities, L"No suitable entities selected."},
        {"no_undo", &ut::Messages::no_undo, L"There is nothing more to undo."},
        {"point", &ut::Messages::point, L"A point is needed. Please try again."},
        {"point_or_kword", &ut::Messages::point_or_kword, L"Please pick a point, or choose from the list."},
        {"point_2d", &ut::Messages::point_2d, L"A 2D (not 3D) point is needed. Please try again"},
        {"point_2d_or_kword", &ut::Messages::point_2d_or_kword, L"Please pick a 2D point, or choose from the list."},
        {"selection", &ut::Messages::selection, L"Unable to use that selection. Please try again."},
        {"try_again", &ut::Messages::try_again, L"Please try again."},
        {"unsupported_command", &ut::Messages::unsupported_command, L"This command is not yet supported."},
        {"paper_space_only_command", &ut::Messages::paper_space_only_command, L"This command can only be used in a Layout Tab ('Paper Space')."},
        {"unsupported_option", &ut::Messages::unsupported_option, L"This option is not yet supported."},
        {"value_non_zero", &ut::Messages::value_non_zero, L"A value other than zero is needed. Please try again."},
        {"value_positive", &ut::Messages::value_positive, L"A positive value is needed. Please try again."},
        {"value_positive_or_zero", &ut::Messages::value_positive_or_zero, L"A positive value, or zero, is needed. Please try again."},
        {"value_positive_non_zero", &ut::Messages::value_positive_non_zero, L"A positive, non-zero value is needed. Please try again:"},
        {"value_numeric", &ut::Messages::value_numeric, L"A numeric value is needed. Please try again."},
        {"yes_no", &ut::Messages::yes_no, L"Yes or No, please."},
        {"bad_geometry", &ut::Messages::bad_geometry, L"Unable to create an entity with that geometry."},
        {"three_points_on_same_line", &ut::Messages::three_points_on_same_line, L"The three points cannot all be along one line."},
        {"invalid", &ut::Messages::invalid, L"Invalid"},
        {"invalid_selection", &ut::Messages::invalid_selection, L"Invalid selection."},
        {"unable_to_create_entity", &ut::Messages::unable_to_create_entity, L"Unable to create the requested entity."},
        {"viewport_locked", &ut::Messages::viewport_locked, L"This command is not available in view-locked viewport."},
        {"edges_must_belong_to_base_face", &ut::Messages::edges_must_belong_to_base_face, L"Edges must belong to base face."},
        {"more_memory_needed", &ut::Messages::more_memory_needed, L"More memory is needed to do this operation"},
        {"hatch_pattern_not_found", &ut::Messages::hatch_pattern_not_found, L"Unable to find a hatch pattern with that name"},
        {"distinct_points_needed", &ut::Messages::distinct_points_needed, L"Distinct points are needed to break this entity."},
        {"chamfer_non_linear", &ut::Messages::chamfer_non_linear, L"Unable to chamfer with a non-linear entity."},
        {"chamfer_parallel", &ut::Messages::chamfer_parallel, L"Unable to chamfer lines that are parallel."},
        {"chamfer_angle_too_large", &ut::Messages::chamfer_angle_too_large, L"Chamfer angle is too large to perform requested chamfer."},
        {"invalid_new_block_name", &ut::Messages::invalid_new_block_name, L"The name can use up to %d characters, including letters, numbers, hyphens, underscores, and dollar signs ($), but no spaces or %ls. \nPlease enter a new name for the block."},
        {"invalid_new_name", &ut::Messages::invalid_new_name, L"The name can use up to %d characters, including letters, numbers,\nhyphens, underscores, and dollar signs ($), but not %ls.\nPlease try again."},
        {"err_perspective_1", &ut::Messages::err_perspective_1, L"That command is not available in Perspective mode."},
        {"err_perspective_2", &ut::Messages::err_perspective_2, L"Use DVIEW or VPOINT to turn perspective mode off."},
        {"err_perspective_3", &ut::Messages::err_perspective_3, L"Command available only in Perspective mode."},
        {"screen_update_error", &ut::Messages::screen_update_error, L"Screen update was interrupted, because of unknown error."},
        {"tan_object_require", &ut::Messages::tan_object_require, L"Requires a TAN object-snap and selection of Circle, Arc, or Line."},
        {"endpoints_different_z_coordinates", &ut::Messages::endpoints_different_z_coordinates, L"Endpoints have different Z coordinates."},
        {"no_license_for_rendering", &ut::Messages::no_license_for_rendering, L"Rendering is not included in your license."},
        {"no_support_for_rendering", &ut::Messages::no_support_for_rendering, L"Rendering is not supported in your installation."},
        {"cmd_valid_in_modelspace", &ut::Messages::cmd_valid_in_modelspace, L"Command only valid in Model Space."},
        {"cmd_valid_in_paperspace", &ut::Messages::cmd_valid_in_paperspace, L"Command only valid in Paper Space."},
        {"no_license_for_VBA", &ut::Messages::no_license_for_VBA, L"VBA is not included in your license."},
        {"command_not_available", &ut::Messages::command_not_available, L"%ls command not available"},
        {"no_viewports", &ut::Messages::no_viewports, L"There are no VIEWPORTS, use the MVIEW command to create one."},
        {"model_space_viewport_must_be_active", &ut::Messages::model_space_viewport_must_be_active, L"Model space viewport must be active, use the MSPACE command."},
        {"no_license_for_dotnet", &ut::Messages::no_license_for_dotnet, L".NET is not included in your license."},
        {"extrusion_creates_empty_solid", &ut::Messages::extrusion_creates_empty_solid, L"Extrusion creating empty solid reverted."},
        {"selected_entity_not_a_block_reference", &ut::Messages::selected_entity_not_a_block_reference, L"Selected entity is not a block reference."},
        {"no_entities_for_command", &ut::Messages::no_entities_for_command, L"No entities available for %ls in the current drawing."},
        {"could_not_load_line_type", &ut::Messages::could_not_load_line_type, L"Could not load '%ls' line type."},
        {"selected_entity_not_a_section_plane", &ut::Messages::selected_entity_not_a_section_plane, L"Selected entity is not a section plane."},
        {"vsModeling", &ut::Messages::vsModeling, L"Modeling"},
        {"self_intersecting_curve", &ut::Messages::self_intersecting_curve, L"Self-intersecting curve can not be processed."},
        {"confirmAttributeModification", &ut::Messages::confirmAttributeModification, L"The attributes in the current block have been changed.\nDo you want to save these changes?"},
        {"tagNameCanNotBeEmpty", &ut::Messages::tagNameCanNotBeEmpty, L"The tag name cannot be empty."},
        {"tagNameMayNotContainSpaces", &ut::Messages::tagNameMayNotContainSpaces, L"The tag name may not contain spaces."},
        {"importLayerStates", &ut::Messages::importLayerStates, L"Import Layer States"},
        {"exportLayerStates", &ut::Messages::exportLayerStates, L"Export Layer States"},
        {"warningBrokenCOM", &ut::Messages::warningBrokenCOM, L"\nThe Draftium COM interface is not correctly registered.\nThis might cause problems with Lisp, VB/VBA and COM based applications.\nTo correct this problem:\n  start Draftium using \"run as administrator\"\n  -- or --\n  refer to the Draftium KnowledgeBase on the Internet\n"},
        {"noTangentPossible", &ut::Messages::noTangentPossible, L"No tangent possible"},
        {"notValidReference", &ut::Messages::notValidReference, L"Entity is not a valid reference"},
        {"command_requires_Pro_license", &ut::Messages::command_requires_Pro_license, L"This command requires a Pro license."},
        {"only_dwg_as_xref", &ut::Messages::only_dwg_as_xref, L"Only drawings in DWG format are supported as external references"},
        {"already_arrayedit_mode", &ut::Messages::already_arrayedit_mode, L"Command not allowed, associative array already checked out for editing."},
        {"not_arrayedit_mode", &ut::Messages::not_arrayedit_mode, L"Command not allowed unless an associative array is checked out with ARRAYEDIT command."},
};

} // namespace

TEST_F(NoCatalogue, AccessorsGiveTheirEnglishTextsInOrder) {
    auto catalogue = ut::detail::messageCatalogue();
    ASSERT_EQ(std::size(kAccessors), catalogue.size());
    for (size_t i = 0; i < catalogue.size(); ++i) {
        const AccessorRow& row = kAccessors[i];
        SCOPED_TRACE(row.name);
        EXPECT_STREQ(row.name, catalogue[i].name);
        const wchar_t* text = row.accessor();
        ASSERT_NE(nullptr, text);
        EXPECT_STREQ(row.english, text);
        // Callers keep the pointer without copying: it must not move or change.
        EXPECT_EQ(text, row.accessor());
    }
}

TEST_F(NoCatalogue, SdkTextsAreTheDataFileByteForByte) {
    std::vector<std::wstring> expected = dataFileTexts();
    ASSERT_EQ(849u, expected.size()) << "cannot read " << DRUTILS_SDK_MESSAGES_TSV;
    ASSERT_EQ(849u, ut::detail::dwgMessageCount());
    int formats = 0;
    for (unsigned code = 0; code < expected.size(); ++code) {
        SCOPED_TRACE(code);
        EXPECT_EQ(expected[code], ut::formatDwgDirectMessage(code, nullptr).str());
        // Every text must be one the formatter accepts, or its arguments could not be taken.
        std::vector<ArgKind> kinds;
        EXPECT_TRUE(ut::msgformat::argumentKinds(expected[code], kinds));
        formats += kinds.empty() ? 0 : 1;
    }
    EXPECT_EQ(208, formats);
    EXPECT_EQ(L"End of oject", ut::formatDwgDirectMessage(45, nullptr)); // the misspelling others quote
}

TEST_F(NoCatalogue, SdkMessagesFormatTheCallersArgumentsWithinTheTable) {
    struct Row {
        OdString got;
        const wchar_t* expected;
    };
    const Row rows[] = {
        {dwg(0), L"No error"},
        {dwg(456, 3, 2), L"Total errors found during audit 3, fixed 2"},
        {dwg(838, L"Arial", L"txt.shx"), L"Substituting font \"Arial\" by font \"txt.shx\""},
        {dwg(842, L"Some error"), L"Modeling operation error:\nSome error"},
        // a '%' in 842's argument is text, not a placeholder
        {dwg(842, L"100% %d"), L"Modeling operation error:\n100% %d"},
        {dwg(842, static_cast<const wchar_t*>(nullptr)), L"Modeling operation error:\n(null)"},
        {dwg(837, L"Line", static_cast<const wchar_t*>(nullptr)), L"An error occurred while rendering entity Line: (null)"},
        // narrow %s: UTF-8 from the SDK, whatever the C library's locale
        {dwg(822, "C:/Pläne/ü.dwg"), L"Loading from C:/Pl\u00e4ne/\u00fc.dwg ..."},
        // reals, mixed with integers and texts
        {dwg(587, 1.0, 2.5, 3e10, -4.0), L"Tilemode Viewport corners (1,2.5)..(3e+10,-4)"},
        {dwg(497, 1.5, 2.0), L"Not 1.500000..2.000000 degrees"},
        {dwg(546, 1001, 1.5, 0.0, -2.0), L"XData 1001 (1.5,0,-2)"},
        // hexadecimal forms read an unsigned int
        {dwg(732, L"AcDbLine", 0xDEADBEEFu), L"AcDbLine address DEADBEEF"},
        {dwg(513, 255u), L"Set to 0xff"},
        {dwgTwice(456, 10, 1), L"Total errors found during audit 10, fixed 1"},
        // the last code, and past the table: a fixed text with the code, arguments ignored
        {dwg(848, 1, 2), L"Inventor exported custom objects can't be saved to .dxf. Their geometry will be lost."},
        {dwg(849, L"ignored"), L"Unknown message (code: 849)"},
        {dwg(100000), L"Unknown message (code: 100000)"},
        {ut::formatDwgDirectMessage(UINT_MAX, nullptr), L"Unknown message (code: -1)"},
        // a null list leaves the placeholders in place instead of reading garbage
        {ut::formatDwgDirectMessage(456, nullptr), L"Total errors found during audit %d, fixed %d"},
        {ut::formatDwgDirectMessage(822, nullptr), L"Loading from %s ..."},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.expected, row.got);
    EXPECT_EQ(nullptr, ut::detail::dwgMessageText(849));

    // Narrow text that is not UTF-8 comes from the ANSI code page, as on Windows.
    ASSERT_EQ(0, setenv("DRUTILS_ANSI_CODEPAGE", "1252", 1));
    EXPECT_EQ(L"Loading from gr\u00fcn.dwg ...", dwg(822, "gr\xfcn.dwg"));
    unsetenv("DRUTILS_ANSI_CODEPAGE");
}

// Each case: a text, the arguments, and the result; a refused text comes back as it stands.
TEST(MessageFormat, ConversionsAndRefusals) {
    struct Row {
        const wchar_t* text;
        std::vector<Arg> args;
        const wchar_t* expected;
    };
    const Row rows[] = {
        {L"%5d|%-5d|%05d|%+d", {Arg::ofInt(42), Arg::ofInt(42), Arg::ofInt(42), Arg::ofInt(42)}, L"   42|42   |00042|+42"},
        {L"%u %X %x %#o", {Arg::ofInt(-1), Arg::ofInt(-1), Arg::ofInt(255), Arg::ofInt(8)}, L"4294967295 FFFFFFFF ff 010"},
        {L"%ld %lld %zu", {Arg::ofInt(LONG_MIN, ArgKind::Long), Arg::ofInt(LLONG_MAX, ArgKind::LongLong),
                           Arg::ofInt(7, ArgKind::Long)},
         L"-9223372036854775808 9223372036854775807 7"},
        {L"%.2f %e %G %Lg", {Arg::ofDouble(3.14159), Arg::ofDouble(1500.0), Arg::ofDouble(1e-10), Arg::ofLongDouble(0.5L)},
         L"3.14 1.500000e+03 1E-10 0.5"},
        {L"[%.3ls|%-6ls|%6ls]", {Arg::ofWide(L"abcdef"), Arg::ofWide(L"ab"), Arg::ofWide(L"ab")}, L"[abc|ab    |    ab]"},
        {L"%s/%.2s/%5s", {Arg::ofNarrow("gr\xc3\xbcn"), Arg::ofNarrow("\xc3\xa4\xc3\xb6\xc3\xbc"), Arg::ofNarrow("x")},
         L"gr\u00fcn/\u00e4\u00f6/    x"},
        // positions, as translations use them to reorder
        {L"%2$ls, %1$ls", {Arg::ofWide(L"a"), Arg::ofWide(L"b")}, L"b, a"},
        // too few or other kinds: nothing is read, the text stays
        {L"%d and %d", {Arg::ofInt(1)}, L"%d and %d"},
        {L"%d", {Arg::ofWide(L"x")}, L"%d"},
        // refused outright
        {L"%n", {Arg::ofPointer(nullptr)}, L"%n"},
        {L"%*d", {Arg::ofInt(3), Arg::ofInt(4)}, L"%*d"},
        {L"50%", {}, L"50%"},
        {L"%1$d %d", {Arg::ofInt(1), Arg::ofInt(2)}, L"%1$d %d"},
        {L"%1$d %1$ls", {Arg::ofInt(1)}, L"%1$d %1$ls"},
        {L"%99999d", {Arg::ofInt(1)}, L"%99999d"},
        {L"%hf %lls %Ld", {Arg::ofDouble(1), Arg::ofWide(L""), Arg::ofInt(1)}, L"%hf %lls %Ld"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(U(row.text));
        EXPECT_EQ(std::wstring(row.expected), ut::msgformat::format(row.text, row.args));
    }

    // The widest output the bounds allow is printed in full.
    std::wstring wide = ut::msgformat::format(L"%4096.4096f", {Arg::ofDouble(-1e308)});
    EXPECT_EQ(1u + 309 + 1 + 4096, wide.size());
    EXPECT_EQ(L"-1000000000", wide.substr(0, 11));
}

TEST_F(GermanCatalogue, AccessorsGiveTranslationsThatStayValid) {
    LogCapture log;
    const wchar_t* angle = ut::Messages::angle();
    EXPECT_STREQ(L"Ein Winkel wird ben\u00f6tigt. Bitte erneut versuchen.", angle);
    EXPECT_EQ(angle, ut::Messages::angle());
    EXPECT_EQ(L"Befehl ABC nicht verf\u00fcgbar", wxString::Format(ut::Messages::command_not_available(), L"ABC"));
    // untranslated, and translated to nothing: the English text
    EXPECT_STREQ(L"This command is not yet supported.", ut::Messages::unsupported_command());
    EXPECT_STREQ(L"No entities selected.", ut::Messages::no_entities());
    // a prompt that is never formatted shows its translation whatever "%" it holds
    EXPECT_STREQ(L"Ja oder Nein, bitte (100 %).", ut::Messages::yes_no());
    EXPECT_TRUE(log.records().empty()) << log.records()[0].text;
    // a translation that would read an int where the caller passes a text: refused, logged once
    EXPECT_STREQ(L"Could not load '%ls' line type.", ut::Messages::could_not_load_line_type());
    EXPECT_STREQ(L"Could not load '%ls' line type.", ut::Messages::could_not_load_line_type());
    EXPECT_EQ(1, std::count_if(log.records().begin(), log.records().end(), [](const auto& r) {
                  return r.text.find("Could not load '%ls' line type.") != std::string::npos;
              }));
    // free texts (the modeller's) are translated as they come
    EXPECT_EQ(L"Irgendein Fehler", ut::detail::translateFree(L"Some error"));

    // The application may replace its catalogue; texts handed out before stay readable.
    wxTranslations::Set(nullptr);
    EXPECT_STREQ(L"Ein Winkel wird ben\u00f6tigt. Bitte erneut versuchen.", angle);
    EXPECT_STREQ(L"An angle is needed. Please try again.", ut::Messages::angle());
}

// The SDK table is filled once per process, so translated SDK texts are checked in
// the tool's process, with the catalogue loaded before the first message.
TEST_F(GermanCatalogue, ToolShowsTranslatedSdkMessages) {
    struct Row {
        std::vector<std::string> args;
        std::string expected, warning;
    };
    const Row rows[] = {
        {{"0"}, "Kein Fehler\n"},
        {{"456", "3", "2"}, "Pr\u00fcfung: 3 Fehler gefunden, 2 behoben\n"},
        {{"842", "Some error"}, "Fehler bei der Modellierung:\nIrgendein Fehler\n"},
        {{"842", "Other error"}, "Fehler bei der Modellierung:\nOther error\n"},
        {{"1"}, "Make me proxy\n"},
        // a translation that reads other arguments is refused with a warning
        {{"460", "7"}, "Layer 0 has invalid index 7\n", "Layer 0 has invalid index %d"},
    };
    for (const auto& row : rows) {
        std::vector<std::string> args = {"msg", "dwg"};
        args.insert(args.end(), row.args.begin(), row.args.end());
        args.insert(args.end(), {"--lang", "de", "--catalogs", dir()});
        std::string out, err;
        SCOPED_TRACE(row.args[0]);
        EXPECT_EQ(0, runTool(args, &out, &err)) << err;
        EXPECT_EQ(row.expected, out);
        EXPECT_NE(std::string::npos, err.find(row.warning)) << err;
    }
    // Without arguments a text is not formatted: its translation is shown whatever
    // "%" it holds, with no warning, placeholders or not.
    const std::pair<const char*, std::string> unformatted[] = {
        {"5", "Ung\u00fcltige Eingabe (0 %)\n"},
        {"460", "Layer 0 hat ung\u00fcltigen Index %ls\n"},
    };
    for (const auto& [code, expected] : unformatted) {
        std::string out, err;
        SCOPED_TRACE(code);
        EXPECT_EQ(0, runTool({"msg", "dwg", code, "--lang", "de", "--catalogs", dir()}, &out, &err)) << err;
        EXPECT_EQ(expected, out);
        EXPECT_EQ(std::string::npos, err.find("takes other arguments")) << err;
    }
    std::string out, err;

    EXPECT_EQ(0, runTool({"msg", "list", "--json", "--lang", "de", "--catalogs", dir()}, &out, &err)) << err;
    EXPECT_NE(std::string::npos, out.find(R"({"name":"angle","text":"Ein Winkel wird ben)")) << out;
    EXPECT_NE(std::string::npos, out.find(R"({"name":"yes_no","text":"Ja oder Nein, bitte (100 %)."})")) << out;
}

TEST(MessageTool, ListsFormatsAndRefusesBadUse) {
    std::string out, err;
    ASSERT_EQ(0, runTool({"msg", "list"}, &out));
    EXPECT_EQ(0u, out.find("angle "));
    EXPECT_NE(std::string::npos, out.find("\\nThe Draftium COM interface is not correctly registered.\\n"));
    EXPECT_EQ(std::size(kAccessors), size_t(std::count(out.begin(), out.end(), '\n')));

    EXPECT_EQ(0, runTool({"msg", "dwg", "732", "AcDbLine", "0xDEADBEEF", "--json"}, &out));
    EXPECT_EQ("{\"code\":732,\"text\":\"AcDbLine address DEADBEEF\"}\n", out);

    struct Row {
        std::vector<std::string> args;
        int status;
        std::string message;
    };
    const Row rows[] = {
        {{"msg", "dwg", "456", "3"}, 2, "takes 2 argument(s) (integer, integer), not 1"},
        {{"msg", "dwg", "456", "x", "2"}, 2, "'x' is not an integer"},
        {{"msg", "dwg", "850", "1"}, 1, "does not exist"},
        {{"msg", "dwg", "849"}, 1, "message 849 does not exist"},
        {{"msg", "dwg", "-1"}, 2, "not a message number"},
        {{"msg", "list", "--lang", "de"}, 2, "go together"},
        {{"msg", "list", "--lang", "de", "--catalogs", "/nonexistent-drutils"}, 1, "no catalogue folder"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.args.back());
        EXPECT_EQ(row.status, runTool(row.args, nullptr, &err));
        EXPECT_NE(std::string::npos, err.find(row.message)) << err;
    }
}

namespace {

// Runs in a fresh process: many threads make the very first SDK calls together, and
// all must see the one filled table.
int concurrentFirstCalls() {
    constexpr int kThreads = 8;
    std::latch start(kThreads);
    std::vector<std::vector<const wchar_t*>> seen(kThreads);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&, t] {
            start.arrive_and_wait();
            for (unsigned code = 0; code < 849; ++code)
                seen[size_t(t)].push_back(ut::detail::dwgMessageText(code));
        });
    for (auto& t : threads)
        t.join();
    for (const auto& s : seen)
        if (s != seen[0])
            return 1;
    return std::all_of(seen[0].begin(), seen[0].end(), [](const wchar_t* text) { return text && *text; }) ? 0 : 2;
}

} // namespace

TEST(MessageThreadsDeathTest, ConcurrentFirstCallsShareOneTable) {
    // "threadsafe" starts the test binary afresh, so the table is really empty there.
    // A race shows only now and then; a few fresh processes make it likely to show.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (int round = 0; round < 5; ++round)
        EXPECT_EXIT(std::exit(concurrentFirstCalls()), testing::ExitedWithCode(0), "") << "round " << round;
}
