// The track dialogs of FloatOperation, FloatWave and FloatExposeTM: each parameter in a
// widget named after it; every change one undo step named after the controller.
#pragma once

#include "controllers/ui/qt_track_dlg.h"

namespace kt {

class FloatOperation;
class FloatWave;
class FloatExposeTM;

class FloatOperationTrackDlg : public QtTrackDlg {
    Q_OBJECT
public:
    explicit FloatOperationTrackDlg(FloatOperation* c, QWidget* parent = nullptr);
};

class FloatWaveTrackDlg : public QtTrackDlg {
    Q_OBJECT
public:
    explicit FloatWaveTrackDlg(FloatWave* c, QWidget* parent = nullptr);
};

class FloatExposeTMTrackDlg : public QtTrackDlg {
    Q_OBJECT
public:
    explicit FloatExposeTMTrackDlg(FloatExposeTM* c, QWidget* parent = nullptr);
};

}  // namespace kt
