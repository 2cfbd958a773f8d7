// The application's command prompts and error texts, and the texts of the drawing
// SDK's numbered messages, in the user's language.
//
// Every text is an English literal looked up in the toolkit's translation catalogue
// (wxTranslations, default domain); without a catalogue or a translation the English
// text itself is used. The message catalogues belong to the application, which sets
// them up once at start.
#pragma once

#include <cstdarg>

#include "drutils_export.h"
#include "od/OdString.h"

namespace ut {

// One static accessor per prompt or error text. Each returns the text in the
// current language as a zero-terminated wide text that the library owns: it stays
// valid for the life of the process (also after the application replaces its
// catalogue), repeated calls in one language return the same pointer, and it must
// not be freed.
//
// invalid_new_block_name and invalid_new_name ("%d" characters, "%ls" forbidden
// ones), command_not_available, no_entities_for_command and could_not_load_line_type
// ("%ls") return printf formats for the caller to fill; a translation is used only
// when it takes the same arguments, so filling the returned format is safe. The
// other texts are never formatted and show their translation whatever "%" it holds.
class DRUTILS_API Messages {
public:
    Messages() = delete;

    static const wchar_t* angle();
    static const wchar_t* angle_or_2points();
    static const wchar_t* angle_or_2nd_point();
    static const wchar_t* angle_or_2nd_point_or_kword();
    static const wchar_t* dist();
    static const wchar_t* dist_or_2points();
    static const wchar_t* dist_or_2points_or_kword();
    static const wchar_t* dist_or_2nd_point();
    static const wchar_t* dist_or_2nd_point_or_kword();
    static const wchar_t* entity_type();
    static const wchar_t* invalid_name();
    static const wchar_t* invalid_entry();
    static const wchar_t* no_attributed_blocks();
    static const wchar_t* no_entity_found();
    static const wchar_t* no_entities();
    static const wchar_t* no_suitable_entities();
    static const wchar_t* no_undo();
    static const wchar_t* point();
    static const wchar_t* point_or_kword();
    static const wchar_t* point_2d();
    static const wchar_t* point_2d_or_kword();
    static const wchar_t* selection();
    static const wchar_t* try_again();
    static const wchar_t* unsupported_command();
    static const wchar_t* paper_space_only_command();
    static const wchar_t* unsupported_option();
    static const wchar_t* value_non_zero();
    static const wchar_t* value_positive();
    static const wchar_t* value_positive_or_zero();
    static const wchar_t* value_positive_non_zero();
    static const wchar_t* value_numeric();
    static const wchar_t* yes_no();
    static const wchar_t* bad_geometry();
    static const wchar_t* three_points_on_same_line();
    static const wchar_t* invalid();
    static const wchar_t* invalid_selection();
    static const wchar_t* unable_to_create_entity();
    static const wchar_t* viewport_locked();
    static const wchar_t* edges_must_belong_to_base_face();
    static const wchar_t* more_memory_needed();
    static const wchar_t* hatch_pattern_not_found();
    static const wchar_t* distinct_points_needed();
    static const wchar_t* chamfer_non_linear();
    static const wchar_t* chamfer_parallel();
    static const wchar_t* chamfer_angle_too_large();
    static const wchar_t* invalid_new_block_name();
    static const wchar_t* invalid_new_name();
    static const wchar_t* err_perspective_1();
    static const wchar_t* err_perspective_2();
    static const wchar_t* err_perspective_3();
    static const wchar_t* screen_update_error();
    static const wchar_t* tan_object_require();
    static const wchar_t* endpoints_different_z_coordinates();
    static const wchar_t* no_license_for_rendering();
    static const wchar_t* no_support_for_rendering();
    static const wchar_t* cmd_valid_in_modelspace();
    static const wchar_t* cmd_valid_in_paperspace();
    static const wchar_t* no_license_for_VBA();
    static const wchar_t* command_not_available();
    static const wchar_t* no_viewports();
    static const wchar_t* model_space_viewport_must_be_active();
    static const wchar_t* no_license_for_dotnet();
    static const wchar_t* extrusion_creates_empty_solid();
    static const wchar_t* selected_entity_not_a_block_reference();
    static const wchar_t* no_entities_for_command();
    static const wchar_t* could_not_load_line_type();
    static const wchar_t* selected_entity_not_a_section_plane();
    static const wchar_t* vsModeling();
    static const wchar_t* self_intersecting_curve();
    static const wchar_t* confirmAttributeModification();
    static const wchar_t* tagNameCanNotBeEmpty();
    static const wchar_t* tagNameMayNotContainSpaces();
    static const wchar_t* importLayerStates();
    static const wchar_t* exportLayerStates();
    static const wchar_t* warningBrokenCOM();
    static const wchar_t* noTangentPossible();
    static const wchar_t* notValidReference();
    static const wchar_t* command_requires_Pro_license();
    static const wchar_t* only_dwg_as_xref();
    static const wchar_t* already_arrayedit_mode();
    static const wchar_t* not_arrayedit_mode();
};

// The text of one of the drawing SDK's numbered messages (its result codes 0..450,
// then its audit, recovery, rendering and modelling messages up to 848), translated
// and filled in: the host's answer to the SDK's message-formatting callback.
//
// args is a pointer to the SDK's printf-style argument list (the SDK's Windows
// build spells it char**, va_list being char* there); it is read, not consumed.
// - A null args gives the text as it stands, placeholders included: the
//   translation, whatever "%" it holds.
// - Otherwise the text is filled in; a translation that takes other arguments
//   than the English text is not used for that (the English text is, and a
//   warning is logged once).
// - A code of 849 or more gives "Unknown message (code: %d)" with the code filled
//   in (as a signed int, so 0xFFFFFFFF shows as -1).
// - 842, "Modeling operation error:\n%ls": the modeller's own text in the argument
//   is translated too before it is put in.
// - "%s" takes a narrow UTF-8 text (ANSI code page when it is not UTF-8), "%ls" a
//   wide one; both may be null ("(null)").
// The English texts are translated once, on the first call (guarded, so concurrent
// first calls are safe); later catalogue changes do not reach them.
DRUTILS_API OdString formatDwgDirectMessage(unsigned int code, va_list* args);

} // namespace ut
