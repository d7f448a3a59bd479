// Viewport drawing and picking: the graphics window an object's Display and HitTest draw into,
// hit regions, render limits and the user interface colours.
//
// Screen space is in pixels, x to the right and y down from the top-left corner of the view.
// An object draws in its own space: setTransform gives the object-to-world matrix and the
// window takes points through it and through the view (ViewExp, viewexp.h) to the screen.
//
// A window is either drawing or picking. Drawing records what was drawn (host::DrawList, in
// screen space with view depth) for a back-end to rasterise; the window itself holds no pixels
// and needs no GUI library. With GW_PICK in the render limits every primitive is tested against
// the hit region instead: checkHitCode then says whether anything drawn since clearHitCode was
// hit, and getHitDistance how close (in pixels, 0 for a point inside a filled polygon).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "color.h"
#include "matrix3.h"
#include "maxtypes.h"
#include "point3.h"

class ViewExp;

class IPoint2 {
public:
    int x = 0;
    int y = 0;
    constexpr IPoint2() = default;
    constexpr IPoint2(int X, int Y) : x(X), y(Y) {}
    constexpr IPoint2 operator+(const IPoint2& p) const { return IPoint2(x + p.x, y + p.y); }
    constexpr IPoint2 operator-(const IPoint2& p) const { return IPoint2(x - p.x, y - p.y); }
    constexpr bool operator==(const IPoint2& p) const { return x == p.x && y == p.y; }
    constexpr bool operator!=(const IPoint2& p) const { return !(*this == p); }
};

// A projected point: x, y in pixels, z the view depth scaled to an integer (larger is farther).
class IPoint3 {
public:
    int x = 0;
    int y = 0;
    int z = 0;
    constexpr IPoint3() = default;
    constexpr IPoint3(int X, int Y, int Z) : x(X), y(Y), z(Z) {}
};

// ---- Hit testing ---------------------------------------------------------------------------

// HitTest's type: how the user picked.
constexpr int HITTYPE_POINT = 1;   // a click: p[0]
constexpr int HITTYPE_BOX = 2;     // a rectangle: corners p[0], p[1]
constexpr int HITTYPE_CIRCLE = 3;  // centre p[0], radius to p[1]
constexpr int HITTYPE_SOLID = 4;   // as HITTYPE_POINT; filled faces count as hit
constexpr int HITTYPE_FENCE = 5;   // a polygon: p[0..n-1], ended by a point (-1, -1)

// HitTest's flags.
constexpr int HIT_SELONLY = 1 << 0;     // only selected nodes or sub-objects
constexpr int HIT_UNSELONLY = 1 << 2;   // only unselected ones
constexpr int HIT_ABORTONHIT = 1 << 3;  // stop at the first hit
constexpr int HIT_SELSOLID = 1 << 4;    // selected objects are hit inside their faces
constexpr int HIT_ANYSOLID = 1 << 5;    // every object is hit inside its faces

// Region types.
constexpr int POINT_RGN = 0x0001;
constexpr int RECT_RGN = 0x0002;
constexpr int CIRCLE_RGN = 0x0004;
constexpr int FENCE_RGN = 0x0008;

struct HitRect {
    long left = 0, top = 0, right = 0, bottom = 0;
};
struct HitCircle {
    long x = 0, y = 0, r = 0;
};

// Where a pick looks. crossing: a rectangle, circle or fence region hits a primitive that
// crosses it (crossing != 0) or only one that lies wholly inside it (window, crossing == 0);
// with window selection an object is hit only when everything it drew lies inside. epsilon is
// the pixel tolerance of a point region: a line within epsilon pixels is hit, one pixel farther
// is not. A point region always behaves as crossing.
struct HitRegion {
    int type = POINT_RGN;
    int crossing = TRUE;
    int epsilon = 0;
    IPoint2 pt;
    HitRect rect;
    HitCircle circle;
    std::vector<IPoint2> pts;  // fence corners, in order
};

// Builds a region from HitTest's arguments (type HITTYPE_*, p as that type says). A box is
// ordered so that left <= right and top <= bottom. A fence reads p until a point (-1, -1).
void MakeHitRegion(HitRegion& hr, int type, int crossing, int epsi, IPoint2* p);

// ---- Render limits (setRndLimits) ----------------------------------------------------------
constexpr DWORD GW_WIREFRAME = 0x0000001;
constexpr DWORD GW_ILLUM = 0x0000002;
constexpr DWORD GW_FLAT = 0x0000004;
constexpr DWORD GW_SPECULAR = 0x0000008;
constexpr DWORD GW_TEXTURE = 0x0000010;
constexpr DWORD GW_Z_BUFFER = 0x0000020;  // off: drawn over everything depth-tested
constexpr DWORD GW_PERSP_CORRECT = 0x0000040;
constexpr DWORD GW_POLY_EDGES = 0x0000080;
constexpr DWORD GW_BACKCULL = 0x0000100;  // polygons facing away are neither drawn nor hit
constexpr DWORD GW_TWO_SIDED = 0x0000200;
constexpr DWORD GW_COLOR_VERTS = 0x0000400;
constexpr DWORD GW_SHADE_CVERTS = 0x0000800;
constexpr DWORD GW_PICK = 0x0001000;  // hit test instead of drawing
constexpr DWORD GW_BOX_MODE = 0x0002000;
constexpr DWORD GW_ALL_EDGES = 0x0004000;
constexpr DWORD GW_VERT_TICKS = 0x0008000;
constexpr DWORD GW_SHADE_SEL_FACES = 0x0010000;
constexpr DWORD GW_TRANSPARENCY = 0x0020000;
constexpr DWORD GW_LIGHTING = GW_ILLUM | GW_SPECULAR;

enum ColorType { LINE_COLOR, FILL_COLOR, TEXT_COLOR, CLEAR_COLOR };

enum MarkerType {
    POINT_MRKR,
    HOLLOW_BOX_MRKR,
    PLUS_SIGN_MRKR,
    ASTERISK_MRKR,
    X_MRKR,
    BIG_BOX_MRKR,
    CIRCLE_MRKR,
    TRIANGLE_MRKR,
    DIAMOND_MRKR,
    SM_HOLLOW_BOX_MRKR,
    SM_CIRCLE_MRKR,
    SM_TRIANGLE_MRKR,
    SM_DIAMOND_MRKR,
    DOT_MRKR,
    SM_DOT_MRKR,
};

namespace host {

// What a drawing window recorded, in screen space. depth is the view distance (larger is
// farther; a sort key only). Primitives with onTop were drawn with GW_Z_BUFFER off and go over
// everything else, in the order drawn; the others are depth-sorted by the back-end.
struct ScreenVertex {
    float x = 0, y = 0, depth = 0;
};

struct DrawPrimitive {
    enum Kind : uint8_t { LineStrip, LineLoop, Polygon, Marker, Text };
    Kind kind = LineStrip;
    bool onTop = false;
    uint8_t marker = 0;       // MarkerType of a Marker
    uint32_t first = 0;       // into DrawList::vertices
    uint32_t count = 0;
    uint32_t text = 0;        // into DrawList::texts for Text
    float alpha = 1.0f;       // a Polygon's opacity
    float depth = 0;          // the mean depth of the vertices
    Color color;
};

struct DrawList {
    int width = 0;
    int height = 0;
    Color background{0.45f, 0.45f, 0.45f};
    std::vector<DrawPrimitive> prims;
    std::vector<ScreenVertex> vertices;
    std::vector<std::wstring> texts;
    void Clear() {
        prims.clear();
        vertices.clear();
        texts.clear();
    }
};

}  // namespace host

// One per view (ViewExp::getGW). Points passed to the drawing calls are in the space of the
// current transform. Clipping against the near plane happens here; lines and polygons behind
// the viewer are dropped.
class GraphicsWindow {
public:
    explicit GraphicsWindow(ViewExp* view);
    virtual ~GraphicsWindow() = default;
    GraphicsWindow(const GraphicsWindow&) = delete;
    GraphicsWindow& operator=(const GraphicsWindow&) = delete;

    // Object to world.
    virtual void setTransform(const Matrix3& m);
    virtual Matrix3 getTransform() const { return objTM_; }
    // GW_* bits; GW_PICK switches the window to hit testing.
    virtual void setRndLimits(DWORD limits) { limits_ = limits; }
    virtual DWORD getRndLimits() const { return limits_; }
    // Colour components in 0..1.
    virtual void setColor(ColorType t, float r, float g, float b);
    virtual void setColor(ColorType t, const Point3& c) { setColor(t, c.x, c.y, c.z); }
    virtual Point3 getColor(ColorType t) const;
    // Opacity of the polygons that follow (1 opaque).
    virtual void setTransparency(float alpha) { alpha_ = alpha; }

    virtual int getWinSizeX() const;
    virtual int getWinSizeY() const;

    // A line strip through ct points; closed joins the last to the first. rgb (per-vertex
    // colours) may be null and is not interpolated: the strip takes LINE_COLOR, or rgb[0].
    // es (edge visibility per segment, non-zero visible) may be null for all visible.
    virtual void polyline(int ct, Point3* xyz, Point3* rgb, int closed, int* es);
    // A filled convex or concave polygon of ct points in FILL_COLOR (rgb[0] when given).
    // Counter-clockwise on screen faces the viewer; GW_BACKCULL drops the others.
    virtual void polygon(int ct, Point3* xyz, Point3* rgb, Point3* uvw);
    virtual void triangle(Point3* xyz, Point3* rgb) { polygon(3, xyz, rgb, nullptr); }
    // Separate segments (two points each) between startSegments and endSegments.
    virtual void startSegments() {}
    virtual void segment(Point3* xyz, int vis);
    virtual void endSegments() {}
    // A marker of a few pixels at a point, in LINE_COLOR.
    virtual void startMarkers() {}
    virtual void marker(Point3* xyz, MarkerType type);
    virtual void endMarkers() {}
    // Text whose lower-left corner is at the projected point, in TEXT_COLOR. Text is drawn but
    // never hit.
    virtual void text(Point3* xyz, const MCHAR* s);

    // Object to screen: x, y in pixels, z view depth (thousandths of a world unit). Answers 0
    // when the point is in front of the viewer and inside the window, else non-zero.
    virtual DWORD transPoint(const Point3* in, IPoint3* out);
    // As transPoint for a world point (the current transform ignored).
    virtual DWORD wTransPoint(const Point3* in, IPoint3* out);

    // Picking. The region is copied.
    virtual void setHitRegion(HitRegion* rgn);
    const HitRegion& getHitRegion() const { return region_; }
    // Forget hits so far (and the window selection's "something lay outside").
    virtual void clearHitCode();
    // TRUE when anything drawn in pick mode since clearHitCode was hit; with a window region
    // only when nothing drawn lay outside.
    virtual BOOL checkHitCode();
    virtual void setHitCode(BOOL h) { hit_ = h != 0; }
    // The smallest pixel distance of a hit since clearHitCode (0 inside a filled polygon).
    virtual DWORD getHitDistance() const { return hitDistance_; }
    virtual void setHitDistance(DWORD d) { hitDistance_ = d; }

    // ---- Host side.
    ViewExp* host_View() const { return view_; }
    // The view depth of the nearest hit since clearHitCode (ties between equal distances).
    float host_HitDepth() const { return hitDepth_; }
    // Where drawing goes; cleared and sized by the view (ViewExp::host_BeginFrame).
    host::DrawList& host_DrawList() { return list_; }
    const host::DrawList& host_DrawList() const { return list_; }

private:
    struct ScreenPt {
        float x = 0, y = 0, depth = 0;
    };
    // Near-plane clipped, projected pieces of a strip; true when the near plane cut something.
    bool project(const Point3* xyz, int ct, bool closed, const int* es, std::vector<std::vector<ScreenPt>>& out);
    void pickStrip(const std::vector<ScreenPt>& pts, bool closed);
    void pickPolygon(const std::vector<ScreenPt>& pts);
    void recordHit(float distance, float depth);
    Point3 toView(const Point3& p) const;

    ViewExp* view_;
    Matrix3 objTM_;
    Matrix3 objToView_;
    DWORD limits_ = GW_Z_BUFFER | GW_WIREFRAME;
    Color lineColor_{1.0f, 1.0f, 1.0f};
    Color fillColor_{0.7f, 0.7f, 0.7f};
    Color textColor_{1.0f, 1.0f, 1.0f};
    Color clearColor_{0.45f, 0.45f, 0.45f};
    float alpha_ = 1.0f;
    HitRegion region_;
    bool hit_ = false;
    bool outside_ = false;
    DWORD hitDistance_ = 0xFFFFFFFF;
    float hitDepth_ = 1e30f;
    host::DrawList list_;
    std::vector<std::vector<ScreenPt>> pieces_;
};

// ---- Interface colours ---------------------------------------------------------------------
constexpr int COLOR_SELECTION = 0;
constexpr int COLOR_SUBSELECTION = 1;
constexpr int COLOR_FREEZE = 2;
constexpr int COLOR_GRID = 3;
constexpr int COLOR_LINK_LINES = 14;
constexpr int COLOR_TRAJECTORY = 15;
constexpr int COLOR_DUMMY_OBJ = 19;
constexpr int COLOR_POINT_OBJ = 20;
constexpr int COLOR_POINT_AXES = 21;
constexpr int COLOR_BONES = 23;
constexpr int COLOR_GIZMOS = 24;
constexpr int COLOR_SEL_GIZMOS = 25;
constexpr int COLOR_VP_BACKGROUND = 40;
constexpr int COLOR_TOTAL = 41;

// Colours in 0..1 (selection white, frozen grey, ...). An id out of range answers black.
Point3 GetUIColor(int which);
void SetUIColor(int which, const Point3& clr);
// A node's wire colour (0x00BBGGRR) as 0..1 components.
Point3 host_WireColorToPoint3(DWORD bgr);
