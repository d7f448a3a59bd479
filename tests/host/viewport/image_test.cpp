// The image back-end and the command line (built with the Qt frame only).
#ifdef KT_VIEWPORT_IMAGE

#include <QImage>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "scenefile.h"
#include "strclass.h"
#include "triobj.h"
#include "ui/viewport_image.h"
#include "viewport_fixture.h"

using namespace vptest;

namespace {

QRgb Rgb(int r, int g, int b) { return qRgb(r, g, b); }

bool Near(QRgb c, int r, int g, int b, int tol) {
    return std::abs(qRed(c) - r) <= tol && std::abs(qGreen(c) - g) <= tol && std::abs(qBlue(c) - b) <= tol;
}

void Quad(GraphicsWindow* gw, float y, float half, const Point3& color) {
    // Facing the front view's eye, at depth y.
    Point3 q[4] = {Point3(-half, y, -half), Point3(half, y, -half), Point3(half, y, half), Point3(-half, y, half)};
    gw->setColor(FILL_COLOR, color);
    gw->polygon(4, q, nullptr, nullptr);
}

}  // namespace

TEST_F(ViewportTest, DepthOrderAndDrawOnTopShowInThePixels) {
    ViewExp vpt;
    FrontPixelView(vpt);
    vpt.host_BeginFrame();
    GraphicsWindow* gw = vpt.getGW();
    gw->setRndLimits(GW_Z_BUFFER | GW_ILLUM);
    // Near red drawn first, far green second and larger: red must still cover the centre.
    Quad(gw, -10.0f, 20.0f, Point3(1, 0, 0));
    Quad(gw, 10.0f, 40.0f, Point3(0, 1, 0));
    QImage img = host::PaintDrawList(gw->host_DrawList());
    ASSERT_EQ(img.width(), 200);
    EXPECT_EQ(img.pixel(100, 100), Rgb(255, 0, 0));
    EXPECT_EQ(img.pixel(130, 100), Rgb(0, 255, 0));  // only the far quad there
    EXPECT_EQ(img.pixel(2, 2), Rgb(115, 115, 115));  // background

    // The far quad again with the depth test off: now it covers the near one.
    vpt.host_BeginFrame();
    gw->setRndLimits(GW_Z_BUFFER | GW_ILLUM);
    Quad(gw, -10.0f, 20.0f, Point3(1, 0, 0));
    gw->setRndLimits(GW_ILLUM);
    Quad(gw, 10.0f, 15.0f, Point3(0, 0, 1));
    gw->setRndLimits(GW_Z_BUFFER | GW_ILLUM);
    Quad(gw, -50.0f, 5.0f, Point3(1, 1, 0));  // nearest of all, but depth-tested
    img = host::PaintDrawList(gw->host_DrawList());
    EXPECT_EQ(img.pixel(100, 100), Rgb(0, 0, 255));
    EXPECT_EQ(img.pixel(117, 100), Rgb(255, 0, 0));

    // A line drawn on top shows over a face that is nearer.
    vpt.host_BeginFrame();
    gw->setRndLimits(GW_Z_BUFFER);
    Quad(gw, -10.0f, 20.0f, Point3(1, 0, 0));
    gw->setRndLimits(0);
    gw->setColor(LINE_COLOR, Point3(1, 1, 1));
    Point3 seg[2] = {Point3(-30, 50, 0), Point3(30, 50, 0)};
    gw->polyline(2, seg, nullptr, FALSE, nullptr);
    img = host::PaintDrawList(gw->host_DrawList());
    EXPECT_EQ(qRed(img.pixel(100, 100)), 255);
    EXPECT_GT(qGreen(img.pixel(100, 100)), 200) << "the line is hidden behind the face";
}

TEST_F(ViewportTest, TextAndMarkersDrawWhereTheirPointProjects) {
    ViewExp vpt;
    FrontPixelView(vpt, 200, 100);  // pixel (100 + x, 50 - z)
    vpt.host_BeginFrame();
    GraphicsWindow* gw = vpt.getGW();
    gw->setColor(TEXT_COLOR, Point3(1, 1, 0));
    Point3 at(-60, 0, 0);
    gw->text(&at, L"HAND");
    gw->setColor(LINE_COLOR, Point3(0, 1, 1));
    Point3 m(60, 0, 0);
    gw->marker(&m, BIG_BOX_MRKR);
    QImage img = host::PaintDrawList(gw->host_DrawList());
    auto count = [&](QRect r, int red, int green, int blue) {
        int n = 0;
        for (int y = r.top(); y <= r.bottom(); ++y)
            for (int x = r.left(); x <= r.right(); ++x) n += Near(img.pixel(x, y), red, green, blue, 60) ? 1 : 0;
        return n;
    };
    // Text grows right and up from its point.
    EXPECT_GT(count(QRect(40, 35, 40, 15), 255, 255, 0), 10);
    EXPECT_EQ(count(QRect(0, 0, 38, 100), 255, 255, 0), 0);
    EXPECT_EQ(count(QRect(40, 53, 60, 47), 255, 255, 0), 0);
    // The marker is a filled box around its point.
    EXPECT_TRUE(Near(img.pixel(160, 50), 0, 255, 255, 10));
    EXPECT_EQ(count(QRect(0, 0, 150, 100), 0, 255, 255), 0);
    // Markers are hit within tolerance; text never is.
    auto drawBoth = [&](GraphicsWindow* w) {
        w->text(&at, L"HAND");
        w->marker(&m, BIG_BOX_MRKR);
    };
    HitRegion hr;
    for (IPoint2 click : {IPoint2(45, 45), IPoint2(163, 50)}) {
        MakeHitRegion(hr, HITTYPE_POINT, 0, 4, &click);
        gw->setHitRegion(&hr);
        gw->setRndLimits(GW_PICK | GW_Z_BUFFER);
        gw->clearHitCode();
        drawBoth(gw);
        EXPECT_EQ(gw->checkHitCode() != FALSE, click.x == 163) << click.x;
    }
}

TEST_F(ViewportTest, AGroundPlaneStaysUnderWhatStandsOnItsFarSide) {
    ViewExp vpt;
    vpt.host_SetSize(200, 150);
    // From the front, above, looking down at the ground.
    const Point3 eye(0, -100, 60);
    const Point3 f = Normalize(Point3(0, 100, -60));
    const Point3 r(1, 0, 0);
    const Point3 u = r ^ f;
    vpt.host_SetPerspective(Inverse(Matrix3(r, u, -f, eye)), 1.0f);
    vpt.host_BeginFrame();
    GraphicsWindow* gw = vpt.getGW();
    gw->setRndLimits(GW_Z_BUFFER | GW_ILLUM | GW_BACKCULL);
    // A post at the far side first, then the ground, as a scene's node order may have it.
    Point3 post[4] = {Point3(-5, 140, 0), Point3(5, 140, 0), Point3(5, 140, 12), Point3(-5, 140, 12)};
    gw->setColor(FILL_COLOR, Point3(1, 0, 0));
    gw->polygon(4, post, nullptr, nullptr);
    Point3 ground[4] = {Point3(-60, -40, 0), Point3(60, -40, 0), Point3(60, 150, 0), Point3(-60, 150, 0)};
    gw->setColor(FILL_COLOR, Point3(0, 0, 1));
    gw->polygon(4, ground, nullptr, nullptr);
    ASSERT_EQ(gw->host_DrawList().prims.size(), 2u) << "a face was culled";
    QImage img = host::PaintDrawList(gw->host_DrawList());
    Point3 onPost = vpt.MapWorldToScreen(Point3(0, 140, 6));
    Point3 onGround = vpt.MapWorldToScreen(Point3(0, 0, 0));
    EXPECT_EQ(img.pixel(int(onPost.x), int(onPost.y)), Rgb(255, 0, 0));
    EXPECT_EQ(img.pixel(int(onGround.x), int(onGround.y)), Rgb(0, 0, 255));
}

#ifdef KT_CLI_PATH
namespace {

struct CliRun {
    int code;
    std::string out;
};

CliRun RunCli(const std::string& args) {
    const std::string errFile = ::testing::TempDir() + "kt_vp_cli_err.txt";
    std::string cmd = std::string(KT_CLI_PATH) + " " + args + " 2>" + errFile;
    CliRun r{0, {}};
    FILE* f = popen(cmd.c_str(), "r");
    if (!f) return CliRun{-1, {}};
    char buf[256];
    while (fgets(buf, sizeof buf, f)) r.out += buf;
    int status = pclose(f);
    r.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    std::ifstream err(errFile);
    std::string line;
    while (std::getline(err, line)) r.out += line + "\n";
    return r;
}

}  // namespace

TEST_F(ViewportTest, CommandLineRendersAndPicksASavedScene) {
    // A red mesh quad facing the front view and a point helper beside it.
    TriObject* tri = CreateNewTriObject();
    Mesh& m = tri->GetMesh();
    m.setNumVerts(4);
    m.setNumFaces(2);
    m.setVert(0, Point3(-40, 0, -40));
    m.setVert(1, Point3(40, 0, -40));
    m.setVert(2, Point3(40, 0, 40));
    m.setVert(3, Point3(-40, 0, 40));
    m.faces[0].setVerts(0, 1, 2);
    m.faces[1].setVerts(0, 2, 3);
    INode* quad = GetCOREInterface()->CreateObjectNode(tri, L"Wall");
    quad->SetWireColor(0x000000FF);
    INode* mark = MakePoint(L"Marker", Point3(100, 0, 0), 20.0f);
    const std::string scene = ::testing::TempDir() + "kt_vp_cli.kts";
    const std::string png = ::testing::TempDir() + "kt_vp_cli.png";
    std::remove(png.c_str());
    ASSERT_TRUE(host::SaveScene(host::FromUtf8(scene).c_str()));

    CliRun r = RunCli("render " + scene + " --view front --size 280x100 --shaded --out " + png);
    ASSERT_EQ(r.code, 0) << r.out;
    QImage img(QString::fromStdString(png));
    ASSERT_FALSE(img.isNull());
    EXPECT_EQ(img.size(), QSize(280, 100));
    // The scene spans x -40..110 and is framed: the wall's middle is red, shaded head-on.
    bool sawRed = false;
    for (int x = 0; x < 280 && !sawRed; ++x) sawRed = img.pixel(x, 50) == qRgb(255, 0, 0);
    EXPECT_TRUE(sawRed);

    // The same framing for pick: the wall's centre is inside the quad, far left is nothing.
    ViewExp vpt;
    vpt.host_SetSize(280, 100);
    vpt.host_SetViewType(VIEW_FRONT);
    vpt.host_ZoomExtents(host::SceneWorldBox(vpt, 0));
    Point3 wall = vpt.MapWorldToScreen(Point3(0, 0, 10));
    Point3 marker = vpt.MapWorldToScreen(Point3(100, 0, 0));
    auto at = [](const Point3& s) { return std::to_string(int(s.x)) + " " + std::to_string(int(s.y)); };
    r = RunCli("pick " + scene + " --view front --size 280x100 --shaded " + at(wall));
    EXPECT_EQ(r.code, 0) << r.out;
    EXPECT_EQ(r.out, host::ToUtf8(quad->GetName()) + "\n");
    r = RunCli("pick " + scene + " --view front --size 280x100 " + at(marker));
    EXPECT_EQ(r.code, 0) << r.out;
    EXPECT_EQ(r.out, host::ToUtf8(mark->GetName()) + "\n");
    r = RunCli("pick " + scene + " --view front --size 280x100 1 1");
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.out.find("nothing at pixel 1, 1"), std::string::npos) << r.out;
    r = RunCli("render " + scene + " --view sideways --out " + png);
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.out.find("unknown view 'sideways'"), std::string::npos) << r.out;
    r = RunCli("render " + scene + " --out " + png + " --selected Nobody");
    EXPECT_EQ(r.code, 1);
    EXPECT_NE(r.out.find("no node named 'Nobody'"), std::string::npos) << r.out;
}
#endif

#endif
