// qxmatte-gimp: registers the plug-in's procedures with GIMP and runs them.
// Each procedure works from the menus (with a small dialog) and from scripts
// (with the same choices as parameters). A failure comes back as an execution
// error with a sentence, and leaves the image as it was.
#include <cctype>
#include <cstring>
#include <string>
#include <exception>
#include <new>

#include "plugin.h"
#include "qxhost.h"

namespace {

using namespace qxgimp;

// The plug-in works on RGB and grey images (with or without alpha); GIMP
// greys its entries out on indexed ones.
const gchar* const kImageTypes = "RGB*, GRAY*";

// A sentence for a person: the export's name and number, which mean nothing
// to a GIMP user, are taken out of a library failure.
std::string plainWords(std::string text) {
    const std::size_t named = text.find(" (qx");
    if (named != std::string::npos && text.find(" returned ", named) != std::string::npos && text.back() == ')')
        text = text.substr(0, named) + ".";
    if (text.rfind("qx", 0) == 0) {
        const std::size_t returned = text.find(" returned "), colon = text.find(": ");
        if (returned != std::string::npos && colon != std::string::npos && returned < colon) {
            text = text.substr(colon + 2);
            if (!text.empty()) text[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(text[0])));
        }
    }
    return text;
}

void query() {
    static const GimpParamDef refineArgs[] = {
        {GIMP_PDB_INT32, (gchar*)"run-mode", (gchar*)"The run mode { RUN-INTERACTIVE (0), RUN-NONINTERACTIVE (1) }"},
        {GIMP_PDB_IMAGE, (gchar*)"image", (gchar*)"Input image"},
        {GIMP_PDB_DRAWABLE, (gchar*)"drawable", (gchar*)"The layer to cut out"},
        {GIMP_PDB_INT32, (gchar*)"band-width",
         (gchar*)"Width in pixels of the unknown band laid across the selection's edge (2 to 400); ignored with a "
                 "trimap channel"},
        {GIMP_PDB_INT32, (gchar*)"colours",
         (gchar*)"Recover the foreground colours of edge pixels and write them into the layer: 0 no, 1 at full "
                 "resolution (sharpest), 2 at reduced scale (smoother, less detail)"},
        {GIMP_PDB_INT32, (gchar*)"full-size", (gchar*)"1 solve at full size, 0 at half size (faster)"},
        {GIMP_PDB_CHANNEL, (gchar*)"trimap",
         (gchar*)"A channel holding a trimap (0 cut, 255 keep, anything else unknown), or -1 to use the selection"},
    };
    gimp_install_procedure(
        kRefineProc, "Refine the selection's edge into a soft layer mask",
        "Lays an unknown band across the edge of the selection (inside is kept, outside is cut), or takes the marks "
        "from a trimap channel, and solves a soft alpha matte there: hair and fuzzy edges come out semi-transparent. "
        "The active layer gets a layer mask holding the alpha and, if asked, the recovered colours of its edge "
        "pixels, with the old background taken out. One undo step.",
        "qxmatte developers", "qxmatte developers", "2026", "_Refine Selection Edge...", kImageTypes, GIMP_PLUGIN,
        G_N_ELEMENTS(refineArgs), 0, refineArgs, nullptr);
    gimp_plugin_menu_register(kRefineProc, kMenuPath);

    static const GimpParamDef grabArgs[] = {
        {GIMP_PDB_INT32, (gchar*)"run-mode", (gchar*)"The run mode { RUN-INTERACTIVE (0), RUN-NONINTERACTIVE (1) }"},
        {GIMP_PDB_IMAGE, (gchar*)"image", (gchar*)"Input image"},
        {GIMP_PDB_DRAWABLE, (gchar*)"drawable", (gchar*)"The layer whose colours guide the segmentation"},
        {GIMP_PDB_INT32, (gchar*)"marks",
         (gchar*)"0: everything outside the selection's bounding box is background; 1: the selection itself is the "
                 "first guess of the object (outside its box is background)"},
        {GIMP_PDB_INT32, (gchar*)"output", (gchar*)"0: the result replaces the selection; 1: a new trimap channel"},
        {GIMP_PDB_INT32, (gchar*)"band-width", (gchar*)"Unknown band of the trimap channel, pixels (0 to 400)"},
    };
    static const GimpParamDef grabReturns[] = {
        {GIMP_PDB_CHANNEL, (gchar*)"trimap", (gchar*)"The new trimap channel, or -1 when the selection was replaced"},
    };
    gimp_install_procedure(
        kGrabCutProc, "Snap a rough selection to the object inside it (GrabCut)",
        "Segments the object inside the selection's bounding box by colour (GrabCut), starting from the box or "
        "from the selection itself, and leaves the result as the new selection or as a trimap channel (0 cut, "
        "255 keep, 128 unknown) ready for Refine Selection Edge. One undo step.",
        "qxmatte developers", "qxmatte developers", "2026", "_GrabCut from Selection...", kImageTypes, GIMP_PLUGIN,
        G_N_ELEMENTS(grabArgs), G_N_ELEMENTS(grabReturns), grabArgs, grabReturns);
    gimp_plugin_menu_register(kGrabCutProc, kMenuPath);
}

// Reads the procedure's parameters (non-interactive), the last values or a
// dialog's (interactive). False: the user cancelled.
template <class Params>
bool gatherParams(const gchar* name, GimpRunMode mode, Params& params, bool (*dialog)(Params&)) {
    if (mode == GIMP_RUN_NONINTERACTIVE) return true;
    gimp_get_data(name, &params);
    if (mode == GIMP_RUN_WITH_LAST_VALS) return true;
    if (!dialog(params)) return false;
    gimp_set_data(name, &params, sizeof params);
    return true;
}

GimpPDBStatusType runProcedure(const gchar* name, gint nparams, const GimpParam* param, GimpParam* values) {
    const GimpRunMode mode = static_cast<GimpRunMode>(param[0].data.d_int32);
    const gint32 image = param[1].data.d_image;
    const gint32 drawable = param[2].data.d_drawable;
    if (std::strcmp(name, kRefineProc) == 0) {
        RefineParams p;
        if (mode == GIMP_RUN_NONINTERACTIVE) {
            if (nparams != 7) throw UserError("Refine Selection Edge takes 7 arguments");
            p.bandWidth = param[3].data.d_int32;
            p.colours = param[4].data.d_int32;
            p.fullSize = param[5].data.d_int32;
            p.trimapChannel = param[6].data.d_channel;
        }
        static gint32 dialogImage;
        dialogImage = image;
        auto dialog = [](RefineParams& q) { return refineDialog(dialogImage, q); };
        if (!gatherParams<RefineParams>(name, mode, p, dialog)) return GIMP_PDB_CANCEL;
        runRefine(image, drawable, p);
    } else if (std::strcmp(name, kGrabCutProc) == 0) {
        GrabCutParams p;
        if (mode == GIMP_RUN_NONINTERACTIVE) {
            if (nparams != 6) throw UserError("GrabCut from Selection takes 6 arguments");
            p.marksFrom = param[3].data.d_int32;
            p.output = param[4].data.d_int32;
            p.bandWidth = param[5].data.d_int32;
        }
        if (!gatherParams<GrabCutParams>(name, mode, p, grabCutDialog)) return GIMP_PDB_CANCEL;
        values[1].data.d_channel = runGrabCut(image, drawable, p);
    } else {
        return GIMP_PDB_CALLING_ERROR;
    }
    if (mode != GIMP_RUN_NONINTERACTIVE) gimp_displays_flush();
    return GIMP_PDB_SUCCESS;
}

void run(const gchar* name, gint nparams, const GimpParam* param, gint* nreturnVals, GimpParam** returnVals) {
    static GimpParam values[2];
    static std::string message;
    *returnVals = values;
    *nreturnVals = 1;
    values[0].type = GIMP_PDB_STATUS;
    values[1].type = GIMP_PDB_CHANNEL;
    values[1].data.d_channel = -1;
    if (std::strcmp(name, kGrabCutProc) == 0) *nreturnVals = 2;

    gegl_init(nullptr, nullptr);
    GimpPDBStatusType status;
    try {
        status = runProcedure(name, nparams, param, values);
    } catch (const UserError& e) {
        message = plainWords(e.what());
        status = GIMP_PDB_EXECUTION_ERROR;
    } catch (const qxhost::LibraryFailure& e) {
        message = "The cut-out failed: " + plainWords(e.what()) + "; nothing was changed.";
        status = GIMP_PDB_EXECUTION_ERROR;
    } catch (const std::bad_alloc&) {
        message = "There was not enough memory for this image; nothing was changed.";
        status = GIMP_PDB_EXECUTION_ERROR;
    } catch (const std::exception& e) {
        message = "The cut-out failed: " + plainWords(e.what()) + "; nothing was changed.";
        status = GIMP_PDB_EXECUTION_ERROR;
    }
    values[0].data.d_status = status;
    if (status == GIMP_PDB_EXECUTION_ERROR) {
        // The error travels as the call's second value, where scripts and
        // GIMP's error message see it.
        *nreturnVals = 2;
        values[1].type = GIMP_PDB_STRING;
        values[1].data.d_string = const_cast<gchar*>(message.c_str());
    }
}

}  // namespace

const GimpPlugInInfo PLUG_IN_INFO = {nullptr, nullptr, query, run};

MAIN()
