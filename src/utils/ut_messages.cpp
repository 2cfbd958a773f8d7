#include "ut_messages.h"

#include <mutex>
#include <unordered_map>

#include <wx/string.h>
#include <wx/translation.h>

#include "ut_log.h"
#include "ut_messages_internal.h"

namespace {

// The catalogue's texts, in its order. The English texts are the catalogue keys of
// every translation, so they stay exactly as they are, irregularities included
// (point_2d lacks its full stop, value_positive_non_zero ends in a colon).
#define DRUTILS_MESSAGE_LIST(X) \
    X(angle, L"An angle is needed. Please try again.") \
    X(angle_or_2points, L"Please enter a numeric angle, or pick two points.") \
    X(angle_or_2nd_point, L"Please enter a numeric angle, or pick a second point.") \
    X(angle_or_2nd_point_or_kword, L"Please enter a numeric angle, pick a second point, or choose an option.") \
    X(dist, L"A distance is needed. Please try again.") \
    X(dist_or_2points, L"Please enter a distance, or pick two points.") \
    X(dist_or_2points_or_kword, L"Please enter a distance, pick two points, or choose an option.") \
    X(dist_or_2nd_point, L"Please enter a distance, or pick a second point.") \
    X(dist_or_2nd_point_or_kword, L"Please enter a distance, pick a second point, or choose an option.") \
    X(entity_type, L"Unable to use the selected entity. Please pick again.") \
    X(invalid_name, L"Unable to recognize entry as a valid name. Please try again.") \
    X(invalid_entry, L"Unable to recognize entry. Please try again.") \
    X(no_attributed_blocks, L"This drawing does not contain blocks with attributes.") \
    X(no_entity_found, L"No entity was found there. Please pick again.") \
    X(no_entities, L"No entities selected.") \
    X(no_suitable_entities, L"No suitable entities selected.") \
    X(no_undo, L"There is nothing more to undo.") \
    X(point, L"A point is needed. Please try again.") \
    X(point_or_kword, L"Please pick a point, or choose from the list.") \
    X(point_2d, L"A 2D (not 3D) point is needed. Please try again") \
    X(point_2d_or_kword, L"Please pick a 2D point, or choose from the list.") \
    X(selection, L"Unable to use that selection. Please try again.") \
    X(try_again, L"Please try again.") \
    X(unsupported_command, L"This command is not yet supported.") \
    X(paper_space_only_command, L"This command can only be used in a Layout Tab ('Paper Space').") \
    X(unsupported_option, L"This option is not yet supported.") \
    X(value_non_zero, L"A value other than zero is needed. Please try again.") \
    X(value_positive, L"A positive value is needed. Please try again.") \
    X(value_positive_or_zero, L"A positive value, or zero, is needed. Please try again.") \
    X(value_positive_non_zero, L"A positive, non-zero value is needed. Please try again:") \
    X(value_numeric, L"A numeric value is needed. Please try again.") \
    X(yes_no, L"Yes or No, please.") \
    X(bad_geometry, L"Unable to create an entity with that geometry.") \
    X(three_points_on_same_line, L"The three points cannot all be along one line.") \
    X(invalid, L"Invalid") \
    X(invalid_selection, L"Invalid selection.") \
    X(unable_to_create_entity, L"Unable to create the requested entity.") \
    X(viewport_locked, L"This command is not available in view-locked viewport.") \
    X(edges_must_belong_to_base_face, L"Edges must belong to base face.") \
    X(more_memory_needed, L"More memory is needed to do this operation") \
    X(hatch_pattern_not_found, L"Unable to find a hatch pattern with that name") \
    X(distinct_points_needed, L"Distinct points are needed to break this entity.") \
    X(chamfer_non_linear, L"Unable to chamfer with a non-linear entity.") \
    X(chamfer_parallel, L"Unable to chamfer lines that are parallel.") \
    X(chamfer_angle_too_large, L"Chamfer angle is too large to perform requested chamfer.") \
    X(invalid_new_block_name, L"The name can use up to %d characters, including letters, numbers, hyphens, underscores, and dollar signs ($), but no spaces or %ls. \nPlease enter a new name for the block.") \
    X(invalid_new_name, L"The name can use up to %d characters, including letters, numbers,\nhyphens, underscores, and dollar signs ($), but not %ls.\nPlease try again.") \
    X(err_perspective_1, L"That command is not available in Perspective mode.") \
    X(err_perspective_2, L"Use DVIEW or VPOINT to turn perspective mode off.") \
    X(err_perspective_3, L"Command available only in Perspective mode.") \
    X(screen_update_error, L"Screen update was interrupted, because of unknown error.") \
    X(tan_object_require, L"Requires a TAN object-snap and selection of Circle, Arc, or Line.") \
    X(endpoints_different_z_coordinates, L"Endpoints have different Z coordinates.") \
    X(no_license_for_rendering, L"Rendering is not included in your license.") \
    X(no_support_for_rendering, L"Rendering is not supported in your installation.") \
    X(cmd_valid_in_modelspace, L"Command only valid in Model Space.") \
    X(cmd_valid_in_paperspace, L"Command only valid in Paper Space.") \
    X(no_license_for_VBA, L"VBA is not included in your license.") \
    X(command_not_available, L"%ls command not available") \
    X(no_viewports, L"There are no VIEWPORTS, use the MVIEW command to create one.") \
    X(model_space_viewport_must_be_active, L"Model space viewport must be active, use the MSPACE command.") \
    X(no_license_for_dotnet, L".NET is not included in your license.") \
    X(extrusion_creates_empty_solid, L"Extrusion creating empty solid reverted.") \
    X(selected_entity_not_a_block_reference, L"Selected entity is not a block reference.") \
    X(no_entities_for_command, L"No entities available for %ls in the current drawing.") \
    X(could_not_load_line_type, L"Could not load '%ls' line type.") \
    X(selected_entity_not_a_section_plane, L"Selected entity is not a section plane.") \
    X(vsModeling, L"Modeling") \
    X(self_intersecting_curve, L"Self-intersecting curve can not be processed.") \
    X(confirmAttributeModification, L"The attributes in the current block have been changed.\nDo you want to save these changes?") \
    X(tagNameCanNotBeEmpty, L"The tag name cannot be empty.") \
    X(tagNameMayNotContainSpaces, L"The tag name may not contain spaces.") \
    X(importLayerStates, L"Import Layer States") \
    X(exportLayerStates, L"Export Layer States") \
    X(warningBrokenCOM, L"\nThe Draftium COM interface is not correctly registered.\nThis might cause problems with Lisp, VB/VBA and COM based applications.\nTo correct this problem:\n  start Draftium using \"run as administrator\"\n  -- or --\n  refer to the Draftium KnowledgeBase on the Internet\n") \
    X(noTangentPossible, L"No tangent possible") \
    X(notValidReference, L"Entity is not a valid reference") \
    X(command_requires_Pro_license, L"This command requires a Pro license.") \
    X(only_dwg_as_xref, L"Only drawings in DWG format are supported as external references") \
    X(already_arrayedit_mode, L"Command not allowed, associative array already checked out for editing.") \
    X(not_arrayedit_mode, L"Command not allowed unless an associative array is checked out with ARRAYEDIT command.")

// Translations kept for the life of the process, keyed by English text and
// translation together: the same English text may meet another translation after
// the application switches language, and both pointers must stay valid.
struct TranslationStore {
    struct Entry {
        bool accepted;       // reads the English text's arguments
        bool warned = false; // that it does not, logged
        std::wstring text;
    };
    std::mutex mutex;
    std::unordered_map<std::wstring, Entry> entries; // node-based: values never move
};

TranslationStore& store() {
    // Never destroyed: accessors may still be called from other static destructors.
    static TranslationStore* s = new TranslationStore;
    return *s;
}

const wxString* lookUp(const wxString& text) {
    const wxTranslations* translations = wxTranslations::Get();
    if (!translations)
        return nullptr;
    const wxString* found = translations->GetTranslatedString(text);
    // An empty translation means "not translated yet", as gettext treats it.
    return found && !found->empty() ? found : nullptr;
}

// The stored translation of english, or null when there is none. With forFormat,
// warn tells whether a translation that reads other arguments is to be reported
// now (the first time it is refused as a format).
const TranslationStore::Entry* storedTranslation(const wchar_t* english, bool forFormat, bool& warn) {
    warn = false;
    const wxString* found = lookUp(wxString(english));
    if (!found)
        return nullptr;
    std::wstring translation = found->ToStdWstring();
    std::wstring key = english;
    key += L'\0';
    key += translation;

    TranslationStore& s = store();
    std::lock_guard<std::mutex> lock(s.mutex);
    auto it = s.entries.find(key);
    if (it == s.entries.end()) {
        const bool accepted = ut::detail::sameArguments(english, translation);
        it = s.entries.emplace(std::move(key), TranslationStore::Entry{accepted, false, std::move(translation)}).first;
    }
    TranslationStore::Entry& entry = it->second;
    if (forFormat && !entry.accepted && !entry.warned)
        warn = entry.warned = true;
    return &entry;
}

// Texts with a placeholder are formats; the others are shown as they stand.
constexpr bool isFormat(const wchar_t* english) {
    for (; *english; ++english)
        if (*english == L'%')
            return true;
    return false;
}

} // namespace

namespace ut {

#define DRUTILS_DEFINE_ACCESSOR(name, english) \
    const wchar_t* Messages::name() { \
        constexpr bool format = isFormat(english); \
        return format ? detail::translateFixed(english) : detail::translateText(english); \
    }
DRUTILS_MESSAGE_LIST(DRUTILS_DEFINE_ACCESSOR)
#undef DRUTILS_DEFINE_ACCESSOR

namespace detail {

bool sameArguments(std::wstring_view english, std::wstring_view translation) {
    if (english.find(L'%') == std::wstring_view::npos && translation.find(L'%') == std::wstring_view::npos)
        return true;
    std::vector<ut::msgformat::ArgKind> englishKinds, translationKinds;
    ut::msgformat::argumentKinds(english, englishKinds);
    return ut::msgformat::argumentKinds(translation, translationKinds) && translationKinds == englishKinds;
}

void warnOtherArguments(const wchar_t* english) {
    logWarning("src/utils/ut_messages", "ut::detail::translateFixed",
               L"The translation of \"%ls\" takes other arguments than the English text; "
               L"the English text is shown instead.",
               english);
}

const wchar_t* translateText(const wchar_t* english) {
    if (!english)
        return L"";
    bool warn = false;
    const TranslationStore::Entry* entry = storedTranslation(english, false, warn);
    return entry ? entry->text.c_str() : english;
}

const wchar_t* translateFixed(const wchar_t* english) {
    if (!english)
        return L"";
    bool warn = false;
    const TranslationStore::Entry* entry = storedTranslation(english, true, warn);
    // Logged outside the lock: a log target may well ask for a message text itself.
    if (warn)
        warnOtherArguments(english);
    return entry && entry->accepted ? entry->text.c_str() : english;
}

std::wstring translateFree(std::wstring_view text) {
    const wxString* found = lookUp(wxString(text.data(), text.size()));
    return found ? found->ToStdWstring() : std::wstring(text);
}

std::span<const MessageEntry> messageCatalogue() {
#define DRUTILS_CATALOGUE_ENTRY(name, english) {#name, english, &Messages::name},
    static const MessageEntry entries[] = {DRUTILS_MESSAGE_LIST(DRUTILS_CATALOGUE_ENTRY)};
#undef DRUTILS_CATALOGUE_ENTRY
    return entries;
}

} // namespace detail
} // namespace ut
