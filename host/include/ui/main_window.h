// The host's main window: a tool bar, the viewport area, the command panel docked on the
// right, a time slider at the bottom (the dock anchor named "TimeSlider") and a status bar.
//
// Dock windows added to it honour the host properties:
//   "QmaxDockMinMaximizable"            bool: a floating window gets minimise and maximise buttons
//   "_3dsmax_floating_window_flags"     int: Qt window flags added while floating
//   "_3dsmax_hide_titlebar_on_floating" bool: a floating window shows no title bar
#pragma once

#include <QMainWindow>
#include <map>
#include <memory>
#include <vector>

#include "maxapi.h"

class Animatable;
class INode;
struct NotifyInfo;
class QDockWidget;
class QLabel;
class QScrollArea;
class QSlider;
class QTabBar;
class QPlainTextEdit;
class QVBoxLayout;

namespace MaxSDK {
class QMaxParamBlockWidget;
}

namespace host::ui {

// The command panel: a tab per task mode above the rollups. In the motion tab it shows the
// pages the edited controller added (Interface::AddRollupPage); in the others the rollups of
// the selected node: its object's (base object, then modifiers top first), then its transform
// controller's, each from its class's ClassDesc2::CreateQtWidget bound to the block (classes
// without one are listed by name). Follows the selection and the mode.
class CommandPanel : public QWidget, public host::CommandPanelObserver {
    Q_OBJECT
public:
    explicit CommandPanel(QWidget* parent = nullptr);
    ~CommandPanel() override;
    // Shows node's rollups (null: the empty panel).
    void ShowNode(INode* node);
    INode* Node() const { return node_; }
    // The rollups on show, in order.
    const std::vector<MaxSDK::QMaxParamBlockWidget*>& Rollups() const { return rollups_; }
    QTabBar* Tabs() const { return tabs_; }

    void RollupPageAdded(const host::RollupPage& page) override;
    void RollupPageDeleted(const host::RollupPage& page) override;
    void TaskModeChanged(int mode) override;

private:
    void AddAnimatable(Animatable* anim, const QString& heading);
    void AddPage(const host::RollupPage& page);
    void Clear();
    static void OnSelection(void* param, NotifyInfo* info);

    INode* node_ = nullptr;
    QLabel* title_ = nullptr;
    QVBoxLayout* list_ = nullptr;
    std::vector<MaxSDK::QMaxParamBlockWidget*> rollups_;
    std::vector<QWidget*> frames_;
    QTabBar* tabs_ = nullptr;
    // Motion pages: the page's widget and the frame around it. The widget is its editor's.
    std::map<QWidget*, QWidget*> pageFrames_;
};

class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;
    CommandPanel* Panel() const { return panel_; }
    QDockWidget* TimeSliderDock() const { return timeDock_; }
    // The listener dock ("Listener", hidden until shown) and its macro recorder area: the
    // recorder's text so far, then every line it emits.
    QDockWidget* ListenerDock() const { return listenerDock_; }
    QPlainTextEdit* MacroRecorderArea() const { return macroArea_; }
    // Applies the host properties of a dock window now (done on every float change).
    static void ApplyDockProperties(QDockWidget* dock);

protected:
    bool event(QEvent* e) override;

private:
    CommandPanel* panel_ = nullptr;
    QDockWidget* panelDock_ = nullptr;
    QDockWidget* timeDock_ = nullptr;
    QDockWidget* listenerDock_ = nullptr;
    QPlainTextEdit* macroArea_ = nullptr;
    struct MacroLines;
    std::unique_ptr<MacroLines> macroLines_;
    QSlider* slider_ = nullptr;
    QLabel* frameLabel_ = nullptr;
};

}  // namespace host::ui
