// The dock window of the plug-in's editors: a QDockWidget of the host's main window that
// remembers where the animator left it.
//
// Its place is kept in the host's settings (section "Kinetrope") under "<name>_<key>" ints:
// "Docked", "DockArea", "PosX", "PosY", "SizeX", "SizeY". A docked window also keeps its
// relation to its neighbours in "KinetropeDockLayouts.ini" in the host's plug-in
// configuration folder, one section per window:
//
//   [Name]
//   anchors=TimeSlider,OtherDock     object names of the neighbours, nearest first
//   relations=above,left             where this window lies from each anchor
//   width=320
//   height=200
//
// The place is saved on close, when the window goes away with the main window, and at host
// shutdown; it is restored by Restore(). Main thread only: saving runs the host's script.
#pragma once

#include <QDockWidget>
#include <QRect>
#include <QString>
#include <QStringList>

class QMainWindow;
struct NotifyInfo;

namespace kt {

// Where a docked window lies from its neighbours, as kept in the layouts file.
struct DockLayout {
    QStringList anchors;
    QStringList relations;  // "above", "below", "left" or "right", one per anchor
    int width = 0;
    int height = 0;
};

class QtDockWindow : public QDockWidget {
    Q_OBJECT
public:
    // settingsName names the keys and the layout section; it is also the object name, so that
    // other windows can anchor to this one. iniPath empty: the layouts file of the host's
    // plug-in configuration folder.
    QtDockWindow(QMainWindow* owner, const QString& settingsName, const QString& title,
                 const QString& iniPath = QString());
    ~QtDockWindow() override;

    QMainWindow* Owner() const { return owner_; }
    const QString& SettingsName() const { return settingsName_; }
    const QString& IniPath() const { return iniPath_; }
    // The last geometry in window coordinates (left, top, right, bottom inclusive).
    const QRect& LastGeometry() const { return lastGeometry_; }

    // Saves the place now: the settings keys, and the layout when docked in an area.
    void SavePlacement();
    // Puts the window where it was saved: floating at the saved place and size (moved onto a
    // screen when the place lies on none), or docked in the saved area beside its anchor.
    // Without saved keys the window docks on the right. Answers whether keys were found.
    bool Restore();

    // The neighbour relations of a docked window (empty when floating or not docked).
    DockLayout CurrentLayout() const;
    // The layout saved for a settings name in the layouts file; false when there is none, or
    // when it is damaged (then a listener line says why and out is left alone).
    static bool ReadLayout(const QString& iniPath, const QString& settingsName, DockLayout& out);

protected:
    void moveEvent(QMoveEvent* e) override;
    void resizeEvent(QResizeEvent* e) override;
    void closeEvent(QCloseEvent* e) override;
    bool event(QEvent* e) override;

private:
    void UpdateGeometry();
    void WriteLayout(const DockLayout& layout) const;
    QString Key(const char* key) const;
    static void OnShutdown(void* param, NotifyInfo* info);

    QMainWindow* owner_ = nullptr;
    QString settingsName_;
    QString iniPath_;
    QRect lastGeometry_;
    bool saved_ = false;  // one save per teardown, whichever path gets there first
};

}  // namespace kt
