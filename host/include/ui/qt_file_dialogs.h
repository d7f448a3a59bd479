// The Qt frame's file dialogs: DoMaxOpenFileDialog and DoMaxSaveFileDialog show a QFileDialog
// while the frame is up. StartUI installs the provider and StopUI takes it away again.
#pragma once

#include <QStringList>

#include "filedialog.h"

class QFileDialog;

namespace host::ui {

class QtFileDialogProvider : public host::FileDialogProvider {
public:
    // The dialog runs through ExecDialog, so an installed answerer can fill and accept it.
    std::wstring Choose(const host::FileRequest& request) override;

    // Qt name filters from the host's pairs of description and pattern: "Poses (*.pose)". A
    // description that already shows its pattern is kept as it is; a pattern list separated by
    // ";" becomes Qt's space-separated one.
    static QStringList NameFilters(const std::vector<std::wstring>& pairs);
};

}  // namespace host::ui
