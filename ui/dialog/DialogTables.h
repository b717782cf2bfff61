// The two dialogs of the plug-in as tables, and the ids of their controls.
#pragma once

#include "ui/preview/Proxy.h"
#include "ui/toolkit/DialogTemplate.h"

// Main dialog.
constexpr int idOk = 1;
constexpr int idCancel = 2; // shows Reset while Alt is held
constexpr int idExport = 4;
constexpr int idPreview = 5;
constexpr int idForegroundPositionEdit = 9;
constexpr int idForegroundPosition = 10;
constexpr int idForegroundIntensityEdit = 12;
constexpr int idForegroundIntensity = 13;
constexpr int idBackgroundPositionEdit = 15;
constexpr int idBackgroundPosition = 16;
constexpr int idBackgroundIntensityEdit = 18;
constexpr int idBackgroundIntensity = 19;
constexpr int idBalance = 22;
constexpr int idHomePage = 1012;
constexpr int idHelp = 1013;
constexpr int idDisplay = 1016;

// About box.
constexpr int idAboutOk = 1014;
constexpr int idAboutHomePage = 1015;

// Pictures.
constexpr int pictureLogo = 139;   // 96 by 96
constexpr int pictureBanner = 140; // 356 by 40

extern const DialogTemplate FOGDISSOLVER_DIALOG;
extern const DialogTemplate FOGDISSOLVER_ABOUT_DIALOG;
