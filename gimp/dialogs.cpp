// The two small dialogs of interactive runs. They only fill the parameters;
// a script passes the same choices as arguments.
#include "plugin.h"

#include <libgimp/gimpui.h>  // after gimp.h, which it needs

#include <cstring>

namespace qxgimp {

namespace {

const char* const kRefineHelp =
    "Refine Selection Edge turns a rough selection into a soft layer mask.\n\n"
    "Select the object roughly with any selection tool and make its layer active. A band of the chosen width "
    "is laid across the selection's edge: inside it is kept, outside it is cut, and inside the band every pixel "
    "gets the transparency that best explains its colour. Hair and fuzzy edges come out semi-transparent.\n\n"
    "Marks from: the selection with its band, or a channel holding a trimap you painted (black cut, white "
    "keep, any grey to be worked out).\n"
    "Edge colours: the colours of semi-transparent pixels still hold some of the old background. Recovering "
    "them takes it out, at full resolution (sharpest on hair and fur) or at reduced scale (smoother, less "
    "detail); or keep the layer's colours as they are.\n"
    "Solve at: half size is about twice as fast on large images.\n\n"
    "The layer gets a layer mask; the whole change is one undo step.";

const char* const kGrabCutHelp =
    "GrabCut from Selection finds the object inside a rough selection by its colours.\n\n"
    "Draw a rectangle (or any selection) around the object and make its layer active. Everything outside the "
    "selection's box counts as background. Start from the box, or from the selection itself when it already "
    "follows the object roughly.\n\n"
    "Result: the object becomes the new selection, or a new trimap channel (black cut, white keep, grey "
    "unknown in a band of the chosen width) ready for Refine Selection Edge.\n\n"
    "The whole change is one undo step.";

// The dialogs' Help button and F1 show this text rather than GIMP's manual,
// which has no page for a plug-in.
void showHelp(const gchar* helpId, gpointer dialog) {
    const bool refine = helpId && std::strcmp(helpId, kRefineProc) == 0;
    GtkWindow* parent = GTK_IS_WINDOW(dialog) ? GTK_WINDOW(dialog) : nullptr;
    GtkWidget* help = gtk_message_dialog_new(parent, GTK_DIALOG_MODAL, GTK_MESSAGE_INFO, GTK_BUTTONS_CLOSE,
                                             "%s", refine ? kRefineHelp : kGrabCutHelp);
    gtk_window_set_title(GTK_WINDOW(help), refine ? "Refine Selection Edge: help" : "GrabCut from Selection: help");
    gtk_dialog_run(GTK_DIALOG(help));
    gtk_widget_destroy(help);
}

GtkWidget* newDialog(const char* title, const char* procedure) {
    gimp_ui_init("qxmatte-gimp", FALSE);
    GtkWidget* dialog = gimp_dialog_new(title, "qxmatte-gimp", nullptr, GtkDialogFlags(0), showHelp, procedure,
                                        "_Cancel", GTK_RESPONSE_CANCEL, "_OK", GTK_RESPONSE_OK, nullptr);
    gimp_window_set_transient(GTK_WINDOW(dialog));
    return dialog;
}

GtkWidget* contentBox(GtkWidget* dialog) {
    GtkWidget* box = gtk_vbox_new(FALSE, 12);
    gtk_container_set_border_width(GTK_CONTAINER(box), 12);
    gtk_box_pack_start(GTK_BOX(gtk_dialog_get_content_area(GTK_DIALOG(dialog))), box, TRUE, TRUE, 0);
    return box;
}

GtkWidget* labelled(GtkWidget* box, const char* text, GtkWidget* widget) {
    GtkWidget* row = gtk_hbox_new(FALSE, 6);
    GtkWidget* label = gtk_label_new_with_mnemonic(text);
    gtk_label_set_mnemonic_widget(GTK_LABEL(label), widget);
    gtk_box_pack_start(GTK_BOX(row), label, FALSE, FALSE, 0);
    gtk_box_pack_start(GTK_BOX(row), widget, FALSE, FALSE, 0);
    gtk_box_pack_start(GTK_BOX(box), row, FALSE, FALSE, 0);
    return widget;
}

GtkWidget* spin(gint32 value, int low, int high) {
    GtkWidget* s = gimp_spin_button_new_with_range(low, high, 1);
    gtk_spin_button_set_value(GTK_SPIN_BUTTON(s), value);
    return s;
}

gboolean channelOfImage(gint32 imageOfItem, gint32, gpointer image) {
    return imageOfItem == *static_cast<gint32*>(image);
}

bool runDialog(GtkWidget* dialog) {
    gtk_widget_show_all(dialog);
    const bool ok = gimp_dialog_run(GIMP_DIALOG(dialog)) == GTK_RESPONSE_OK;
    return ok;
}

}  // namespace

bool refineDialog(gint32 image, RefineParams& p) {
    GtkWidget* dialog = newDialog("Refine Selection Edge", kRefineProc);
    GtkWidget* box = contentBox(dialog);

    static gint32 imageId;
    imageId = image;
    GtkWidget* marks = gimp_channel_combo_box_new(channelOfImage, &imageId);
    gimp_int_combo_box_prepend(GIMP_INT_COMBO_BOX(marks), GIMP_INT_STORE_VALUE, -1, GIMP_INT_STORE_LABEL,
                               "Selection (with band)", -1);
    if (!gimp_int_combo_box_set_active(GIMP_INT_COMBO_BOX(marks), p.trimapChannel))
        gimp_int_combo_box_set_active(GIMP_INT_COMBO_BOX(marks), -1);
    labelled(box, "_Marks from:", marks);
    GtkWidget* band = labelled(box, "_Band width (pixels):", spin(p.bandWidth, 2, 400));

    GtkWidget* colours = gimp_int_radio_group_new(
        TRUE, "Edge colours", G_CALLBACK(gimp_radio_button_update), &p.colours, p.colours,
        "_Recover at full resolution (sharpest on hair and fur)", kColoursFull, nullptr,
        "Recover at re_duced scale (smoother, less detail)", kColoursLibrary, nullptr, "_Keep the layer's colours", kColoursNone, nullptr, nullptr);
    gtk_box_pack_start(GTK_BOX(box), colours, FALSE, FALSE, 0);
    GtkWidget* size = gimp_int_radio_group_new(TRUE, "Solve at", G_CALLBACK(gimp_radio_button_update), &p.fullSize,
                                               p.fullSize, "_Full size", 1, nullptr, "_Half size (faster)", 0,
                                               nullptr, nullptr);
    gtk_box_pack_start(GTK_BOX(box), size, FALSE, FALSE, 0);

    const bool ok = runDialog(dialog);
    if (ok) {
        p.bandWidth = gtk_spin_button_get_value_as_int(GTK_SPIN_BUTTON(band));
        gint value = -1;
        gimp_int_combo_box_get_active(GIMP_INT_COMBO_BOX(marks), &value);
        p.trimapChannel = value;
    }
    gtk_widget_destroy(dialog);
    return ok;
}

bool grabCutDialog(GrabCutParams& p) {
    GtkWidget* dialog = newDialog("GrabCut from Selection", kGrabCutProc);
    GtkWidget* box = contentBox(dialog);
    GtkWidget* marks = gimp_int_radio_group_new(
        TRUE, "Start from", G_CALLBACK(gimp_radio_button_update), &p.marksFrom, p.marksFrom,
        "The selection's _box", kGrabFromBox, nullptr, "The _selection itself", kGrabFromSelection, nullptr, nullptr);
    gtk_box_pack_start(GTK_BOX(box), marks, FALSE, FALSE, 0);
    GtkWidget* output = gimp_int_radio_group_new(
        TRUE, "Result", G_CALLBACK(gimp_radio_button_update), &p.output, p.output, "Replace the _selection",
        kOutputSelection, nullptr, "A new _trimap channel", kOutputTrimap, nullptr, nullptr);
    gtk_box_pack_start(GTK_BOX(box), output, FALSE, FALSE, 0);
    GtkWidget* band = labelled(box, "Trimap _band width (pixels):", spin(p.bandWidth, 0, 400));

    const bool ok = runDialog(dialog);
    if (ok) p.bandWidth = gtk_spin_button_get_value_as_int(GTK_SPIN_BUTTON(band));
    gtk_widget_destroy(dialog);
    return ok;
}

}  // namespace qxgimp
