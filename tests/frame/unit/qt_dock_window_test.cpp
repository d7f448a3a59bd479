// The dock window keeps its place across a restart of the host's frame.
#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QMainWindow>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "frame/settings.h"
#include "frame/ui/qt_dock_window.h"
#include "maxapi.h"
#include "notify.h"
#include "ui/main_window.h"
#include "ui/ui_application.h"

namespace {

class DockWindow : public ::testing::Test {
protected:
    void SetUp() override {
        dir = std::filesystem::temp_directory_path() / ("kt_dock_" + std::to_string(::getpid()));
        std::filesystem::remove_all(dir);
        setenv("KT_HOST_CONFIG_DIR", dir.c_str(), 1);
        host::ui::EnsureApplication();
    }
    void TearDown() override {
        host::ui::StopUI();
        std::filesystem::remove_all(dir);
    }
    QMainWindow* Frame() {
        QMainWindow* w = host::ui::StartUI(true);
        w->resize(1200, 800);
        QApplication::processEvents();
        return w;
    }
    static int Ini(const wchar_t* key) {
        int v = -12345;
        kt::GetIniInt(key, v);
        return v;
    }
    std::filesystem::path dir;
};

TEST_F(DockWindow, FloatingPlaceAndSizeComeBackAfterARestart) {
    QMainWindow* frame = Frame();
    auto* dock = new kt::QtDockWindow(frame, QStringLiteral("PoseEditor"), QStringLiteral("Pose Editor"));
    dock->setWidget(new QLabel(QStringLiteral("poses")));
    EXPECT_TRUE(dock->property("QmaxDockMinMaximizable").toBool());
    EXPECT_FALSE(dock->Restore()) << "nothing saved yet";
    EXPECT_EQ(frame->dockWidgetArea(dock), Qt::RightDockWidgetArea) << "a first start docks on the right";

    dock->setFloating(true);
    dock->setGeometry(140, 90, 300, 200);
    dock->show();
    QApplication::processEvents();
    EXPECT_EQ(dock->LastGeometry(), QRect(140, 90, 300, 200)) << "moves and resizes are tracked";
    dock->close();

    EXPECT_EQ(Ini(L"PoseEditor_Docked"), 0);
    EXPECT_EQ(Ini(L"PoseEditor_PosX"), 140);
    EXPECT_EQ(Ini(L"PoseEditor_PosY"), 90);
    EXPECT_EQ(Ini(L"PoseEditor_SizeX"), 300) << "right - left + 1";
    EXPECT_EQ(Ini(L"PoseEditor_SizeY"), 200);
    EXPECT_EQ(Ini(L"PoseEditor_DockArea"), static_cast<int>(Qt::RightDockWidgetArea))
        << "a floating window keeps the area it docks back into";

    host::ui::StopUI();
    frame = Frame();
    auto* again = new kt::QtDockWindow(frame, QStringLiteral("PoseEditor"), QStringLiteral("Pose Editor"));
    EXPECT_TRUE(again->Restore());
    EXPECT_TRUE(again->isFloating());
    EXPECT_EQ(again->geometry(), QRect(140, 90, 300, 200));

    // a place on a screen that is gone comes back onto one
    kt::SetIniValue(L"PoseEditor_PosX", L"-90000");
    auto* lost = new kt::QtDockWindow(frame, QStringLiteral("PoseEditor"), QStringLiteral("Pose Editor"));
    lost->Restore();
    EXPECT_NE(QGuiApplication::screenAt(lost->geometry().center()), nullptr);
    EXPECT_EQ(lost->geometry().size(), QSize(300, 200));
}

TEST_F(DockWindow, DockedWindowKeepsItsAreaAndItsNeighbours) {
    QMainWindow* frame = Frame();
    auto* curves = new kt::QtDockWindow(frame, QStringLiteral("CurveEditor"), QStringLiteral("Curves"));
    curves->setWidget(new QLabel(QStringLiteral("curves")));
    frame->addDockWidget(Qt::BottomDockWidgetArea, curves);
    auto* timeSlider = static_cast<host::ui::MainWindow*>(frame)->TimeSliderDock();
    frame->splitDockWidget(curves, timeSlider, Qt::Vertical);
    curves->show();
    QApplication::processEvents();
    ASSERT_LT(curves->geometry().bottom(), timeSlider->geometry().top()) << "set-up: curves above the slider";

    const kt::DockLayout now = curves->CurrentLayout();
    ASSERT_EQ(now.anchors.size(), now.relations.size());
    const qsizetype slider = now.anchors.indexOf(QStringLiteral("TimeSlider"));
    ASSERT_GE(slider, 0) << now.anchors.join(QLatin1Char(',')).toStdString();
    EXPECT_EQ(now.relations[slider].toStdString(), "above");
    EXPECT_EQ(now.anchors.indexOf(QStringLiteral("CurveEditor")), -1) << "never its own neighbour";

    // the host going down saves the place once, as a close would
    BroadcastNotification(NOTIFY_SYSTEM_SHUTDOWN);
    EXPECT_EQ(Ini(L"CurveEditor_Docked"), 1);
    EXPECT_EQ(Ini(L"CurveEditor_DockArea"), static_cast<int>(Qt::BottomDockWidgetArea));
    kt::DockLayout saved;
    ASSERT_TRUE(kt::QtDockWindow::ReadLayout(curves->IniPath(), QStringLiteral("CurveEditor"), saved));
    EXPECT_TRUE(curves->IniPath().endsWith(QStringLiteral("/KinetropeDockLayouts.ini")));
    EXPECT_EQ(saved.anchors, now.anchors);
    EXPECT_EQ(saved.relations, now.relations);
    EXPECT_EQ(saved.height, curves->geometry().height());

    host::ui::StopUI();
    frame = Frame();
    auto* back = new kt::QtDockWindow(frame, QStringLiteral("CurveEditor"), QStringLiteral("Curves"));
    back->setWidget(new QLabel(QStringLiteral("curves")));
    EXPECT_TRUE(back->Restore());
    back->show();
    QApplication::processEvents();
    EXPECT_FALSE(back->isFloating());
    EXPECT_EQ(frame->dockWidgetArea(back), Qt::BottomDockWidgetArea);
    EXPECT_LT(back->geometry().bottom(),
              static_cast<host::ui::MainWindow*>(frame)->TimeSliderDock()->geometry().top())
        << "above the time slider again";

    // a damaged layout is ignored with a word in the listener; the area still places the window
    {
        std::ofstream(back->IniPath().toStdString())
            << "[CurveEditor]\nanchors=TimeSlider,CommandPanel\nrelations=above\nwidth=x\nheight=20\n";
    }
    host::ListenerCapture listener;
    kt::DockLayout damaged;
    EXPECT_FALSE(kt::QtDockWindow::ReadLayout(back->IniPath(), QStringLiteral("CurveEditor"), damaged));
    EXPECT_TRUE(damaged.anchors.isEmpty());
    EXPECT_NE(listener.Text().find("ignoring the dock layout of CurveEditor"), std::string::npos) << listener.Text();
    host::ui::StopUI();
    frame = Frame();
    auto* plain = new kt::QtDockWindow(frame, QStringLiteral("CurveEditor"), QStringLiteral("Curves"));
    EXPECT_TRUE(plain->Restore());
    EXPECT_EQ(frame->dockWidgetArea(plain), Qt::BottomDockWidgetArea);
}

}  // namespace
