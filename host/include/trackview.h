// The track-view pick dialog: the user picks one track (an animatable under its owner) from the
// scene's track tree, offered only where a filter allows.
//
// Headless, a pick provider answers (the default cancels); tests install ScriptedTrackPicks,
// the Qt frame may install one that shows a tree.
#pragma once

#include <deque>
#include <vector>
#include "ref.h"

// Decides which tracks the dialog offers: anim is the track, client its owner and subNumber its
// sub-anim index under the owner.
class TrackViewFilter {
public:
    virtual ~TrackViewFilter() = default;
    virtual BOOL proc(Animatable* anim, Animatable* client, int subNumber) = 0;
    // Whether the track's name is drawn in the highlight colour.
    virtual BOOL TextColor(Animatable* anim) { (void)anim; return FALSE; }
};

// What the dialog answers: the picked track, its owner and its index under the owner.
struct TrackViewPick {
    ReferenceTarget* anim = nullptr;
    ReferenceTarget* client = nullptr;
    int subNum = 0;
};

namespace host {

class TrackPickProvider {
public:
    virtual ~TrackPickProvider() = default;
    // Fills res and answers true for a pick, false for a cancel.
    virtual bool Pick(TrackViewFilter* filter, TrackViewPick& res) = 0;
};

// Installs p (not owned) and answers the previous one; null restores the default (cancel).
TrackPickProvider* SetTrackPickProvider(TrackPickProvider* p);
TrackPickProvider* GetTrackPickProvider();

// Answers from a queue of (owner, sub-anim index) picks, as the user would click them: a pick
// the filter refuses is not in the tree, so the dialog is cancelled. An empty queue cancels.
class ScriptedTrackPicks : public TrackPickProvider {
public:
    void Push(Animatable* client, int subNum) { answers_.push_back({client, subNum}); }
    // How many times the dialog opened, and what the filter said of each answer.
    int Opened() const { return opened_; }
    const std::vector<bool>& FilterVerdicts() const { return verdicts_; }
    bool Pick(TrackViewFilter* filter, TrackViewPick& res) override;

private:
    struct Answer {
        Animatable* client;
        int subNum;
    };
    std::deque<Answer> answers_;
    std::vector<bool> verdicts_;
    int opened_ = 0;
};

}  // namespace host
