#include "ui/dialog/DialogTables.h"

#include <iterator>

#include "frame/contract/Version.h"

namespace {

using enum ControlKind;

constexpr char homePageText[] = "Velso home";

// id, kind, English, French (null: the same), place, place in French (none: the same), picture
constexpr DialogControl mainControls[] = {
    {idOk, pushButton, "OK", nullptr, {638, 284, 45, 14}},
    {-1, groupBox, "Positioning", "Positions des plans", {445, 31, 238, 47}},
    {8, label, "Foreground", "Premier plan", {455, 46, 53, 8}},
    {idForegroundPosition, trackBar, "", nullptr, {501, 45, 138, 13}},
    {idForegroundPositionEdit, digitEdit, "", nullptr, {647, 43, 30, 12}},
    {14, label, "Background", "Arrière plan", {455, 61, 50, 8}},
    {idBackgroundPosition, trackBar, "", nullptr, {501, 60, 138, 13}},
    {idBackgroundPositionEdit, digitEdit, "", nullptr, {647, 60, 30, 12}},
    {-1, groupBox, "Correction intensity", "Intensité de correction", {445, 83, 238, 71}},
    {11, label, "Foreground", "Premier plan", {455, 99, 46, 8}},
    {idForegroundIntensity, trackBar, "", nullptr, {501, 97, 138, 13}},
    {idForegroundIntensityEdit, digitEdit, "", nullptr, {647, 96, 30, 12}},
    {17, label, "Background", "Arrière plan", {455, 115, 54, 8}},
    {idBackgroundIntensity, trackBar, "", nullptr, {501, 114, 138, 13}},
    {idBackgroundIntensityEdit, digitEdit, "", nullptr, {647, 113, 30, 12}},
    {-1, label, "Balance", nullptr, {455, 134, 26, 8}},
    {20, label, "Foreground", "Premier plan", {506, 134, 41, 8}},
    {idBalance, trackBar, "", nullptr, {552, 133, 79, 13}},
    {21, label, "Background", "Arrière plan", {639, 134, 38, 8}},
    {idHomePage, link, homePageText, nullptr, {448, 290, 51, 8}},
    {-1, groupBox, "Haze mask", "Masque de voile blanc", {445, 159, 238, 32}},
    {idExport, checkBox, "&Export", "&Exporter", {638, 173, 37, 10}, {629, 173, 48, 10}},
    {idDisplay, checkBox, "&Display", "&Afficher", {458, 173, 39, 10}},
    {idPreview, checkBox, "&Preview", "A&perçu", {642, 238, 41, 10}},
    {idHelp, pushButton, "Help", "Aide", {638, 252, 45, 14}},
    {idCancel, pushButton, "Cancel", "Annuler", {638, 268, 45, 14}},
    {idFrame, frame, "", nullptr, {5, 6, 433, 292}},
    {1018, banner, "", nullptr, {445, 5, 237, 25}, {}, pictureBanner},
    {1017, picture, "", nullptr, {440, 232, 64, 59}, {}, pictureLogo},
};

constexpr DialogControl aboutControls[] = {
    {-1, label, "Version " FOG_VERSION, nullptr, {81, 9, 60, 8}},
    {idAboutOk, defaultPushButton, "OK", nullptr, {81, 48, 50, 14}},
    {idAboutHomePage, link, homePageText, nullptr, {81, 23, 49, 14}},
    {-1, picture, "", nullptr, {9, 5, 64, 59}, {}, pictureLogo},
};

constexpr char caption[] = "Velso Fogdissolver";
constexpr int fontSize = 8; // points

} // namespace

const DialogTemplate FOGDISSOLVER_DIALOG = {
    caption, 690, 304, fontSize, 0, mainControls, int(std::size(mainControls))};

const DialogTemplate FOGDISSOLVER_ABOUT_DIALOG = {
    caption, 148, 69, fontSize, 0, aboutControls, int(std::size(aboutControls))};
