#include <gtest/gtest.h>

#include "control.h"
#include "maxapi.h"
#include "stdctrl.h"
#include "trackview.h"

namespace {

class FloatOnly : public TrackViewFilter {
public:
    BOOL proc(Animatable* anim, Animatable*, int) override {
        return anim && anim->SuperClassID() == CTRL_FLOAT_CLASS_ID;
    }
};

TEST(TrackViewPick, ProviderAnswersPicksTheFilterOffersAndCancelsOtherwise) {
    TrackViewPick res;
    // No provider: the dialog is cancelled.
    EXPECT_FALSE(GetCOREInterface()->TrackViewPickDlg(nullptr, &res));

    Control* prs = NewDefaultMatrix3Controller();
    Control* pos = prs->GetPositionController();
    host::ScriptedTrackPicks picks;
    host::TrackPickProvider* previous = host::SetTrackPickProvider(&picks);
    ASSERT_GE(pos->NumSubs(), 0);

    // A Position XYZ would offer its float tracks; the default Bezier position has none, so pick the
    // PRS's own position track: refused by a float filter, allowed without one.
    picks.Push(prs, 0);
    FloatOnly filter;
    EXPECT_FALSE(GetCOREInterface()->TrackViewPickDlg(nullptr, &res, &filter));
    picks.Push(prs, 0);
    ASSERT_TRUE(GetCOREInterface()->TrackViewPickDlg(nullptr, &res, nullptr));
    EXPECT_EQ(res.client, prs);
    EXPECT_EQ(res.subNum, 0);
    EXPECT_EQ(res.anim, pos);
    // An index past the owner's tracks and an empty queue both cancel.
    picks.Push(prs, 99);
    EXPECT_FALSE(GetCOREInterface()->TrackViewPickDlg(nullptr, &res, nullptr));
    EXPECT_FALSE(GetCOREInterface()->TrackViewPickDlg(nullptr, &res, nullptr));
    EXPECT_EQ(picks.Opened(), 4);
    EXPECT_EQ(picks.FilterVerdicts(), (std::vector<bool>{false, true, false}));

    host::SetTrackPickProvider(previous);
    prs->DeleteThis();
}

}  // namespace
