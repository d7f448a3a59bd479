// The host's curve control: a set of 2D curves a plug-in keeps as a reference and reads as a
// function y = f(x), with the widget a dialog shows to edit them.
//
// Make one with CreateInstance(REF_TARGET_CLASS_ID, CURVE_CONTROL_CLASS_ID). Curves are its
// references 0..n-1. A curve's points are kept in x order; each point has handles `in` and
// `out`, offsets from the point. A segment between two points is a cubic Bezier when either
// end is CURVEP_BEZIER (the handles' x is kept inside the segment, so y is a function of x),
// otherwise a straight line. Before the first point and after the last the curve is constant.
// Edits are undoable while theHold is holding and tell dependents REFMSG_CHANGE. Saved with
// the scene (points by chunk); curves come back through the reference slots.
#pragma once

#include "point2.h"
#include "ref.h"

constexpr Class_ID CURVE_CONTROL_CLASS_ID(0x14585773, 0x483A7DCF);
constexpr Class_ID CURVE_CLASS_ID(0x14585222, 0x483A7DCF);

// Point flags.
constexpr int CURVEP_BEZIER = 1 << 0;
constexpr int CURVEP_CORNER = 1 << 1;
constexpr int CURVEP_LOCKED_Y = 1 << 2;
constexpr int CURVEP_LOCKED_X = 1 << 3;
constexpr int CURVEP_SELECTED = 1 << 4;
constexpr int CURVEP_ENDPOINT = 1 << 8;
constexpr int CURVEP_NO_X_CONSTRAINT = 1 << 9;

class CurvePoint {
public:
    Point2 p;
    Point2 in;   // offset of the incoming handle from p
    Point2 out;  // offset of the outgoing handle from p
    int flags = CURVEP_CORNER;
};

class ICurve : public ReferenceTarget {
public:
    SClass_ID SuperClassID() override { return REF_TARGET_CLASS_ID; }
    Class_ID ClassID() override { return CURVE_CLASS_ID; }
    virtual int GetNumPts() = 0;
    // Resizes the point list; new points copy the last one (or the origin).
    virtual void SetNumPts(int count) = 0;
    // The point at i; a default point for an index out of range.
    virtual CurvePoint GetPoint(TimeValue t, int i, Interval& valid) = 0;
    CurvePoint GetPoint(TimeValue t, int i) {
        Interval iv = FOREVER;
        return GetPoint(t, i, iv);
    }
    // Replaces the point at i and keeps x order: a point moved past a neighbour is stopped at
    // it when checkRange is set. An index out of range does nothing.
    virtual void SetPoint(TimeValue t, int i, CurvePoint* point, BOOL checkRange = TRUE, BOOL notify = TRUE) = 0;
    // Inserts at its place in x order; answers the index it got.
    virtual int Insert(int where, CurvePoint& point) = 0;
    virtual void Delete(int index) = 0;
    // y at x. Never narrows valid (points are not animated here).
    virtual float GetValue(TimeValue t, float fX, Interval& valid, BOOL useLookupTable = FALSE) = 0;
    float GetValue(TimeValue t, float fX) {
        Interval iv = FOREVER;
        return GetValue(t, fX, iv);
    }
    virtual void SetPenProperty(DWORD color, int width = 0, int style = 0) = 0;
    virtual DWORD GetPenColor() = 0;
};

class ICurveCtl : public ReferenceTarget {
public:
    SClass_ID SuperClassID() override { return REF_TARGET_CLASS_ID; }
    Class_ID ClassID() override { return CURVE_CONTROL_CLASS_ID; }
    virtual int GetNumCurves() = 0;
    // Adds curves (a straight line from (xmin, ymin) to (xmax, ymax)) or drops the last ones.
    virtual void SetNumCurves(int num, BOOL delOld = FALSE) = 0;
    // Null for an index out of range.
    virtual ICurve* GetControlCurve(int numCurve) = 0;
    virtual void SetXRange(float min, float max, BOOL rescaleKeys = TRUE) = 0;
    virtual void SetYRange(float min, float max) = 0;
    virtual Point2 GetXRange() = 0;
    virtual Point2 GetYRange() = 0;
    // The editor window; headless, these only keep the state.
    virtual BOOL IsActive() = 0;
    virtual void SetActive(BOOL sw) = 0;
    virtual void SetTitle(const MCHAR* title) = 0;
    virtual void ZoomExtents() {}
};
