// One change that the guard is asked about: the faces that it touches, what they will be, the untouched ones around
// it, and the originals that have to be covered again.
//
// Also what a yes rests on, to be kept when the change is made. One object serves one question after the other.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "standalone/engine/deviation/changed_face.h"
#include "standalone/engine/deviation/guarded_surface.h"
#include "standalone/engine/deviation/piece_cover.h"

namespace mirel::engine {

class ChangeQuestion {
 public:
  // What one question may cost in distance tests, far above what is usual: it ends the few that follow a line at
  // exactly the tolerance.
  static constexpr std::int64_t kBudgetPerOriginal = 256;
  static constexpr std::int64_t kBudgetPerFace = 8192;

  struct Obligation {
    std::uint32_t slot;
    std::uint32_t face;  // the touched face on whose list it was found
  };

  // The surface is kept by reference.
  explicit ChangeQuestion(GuardedSurface const& surface);

  // Takes up another question; what is not live among `others` is left out. False where a face is not live or named
  // twice, or a corner not finite.
  bool take(std::span<std::uint32_t const> removed, std::span<ChangedFace const> asked,
            std::span<std::uint32_t const> others);
  // Finds what the touched faces answer for.
  void gather_obligations();
  // Makes the faces that stay near the obligations the neighbours: they answer for originals that are no farther than
  // twice the radius, since they are near the original themselves. False when there are none, or too many.
  bool find_remaining(FreeSurface& free, double r);
  // Makes frames of the new faces; to be called after the neighbours are known.
  void prepare_frames();

  bool is_at_hand(std::uint32_t face) const { return face_mark_[face] == epoch_; }  // touched or a neighbour
  std::span<std::uint32_t const> touched() const { return touched_; }               // changed ones first, as asked
  std::span<ChangedFace const> changed() const { return changed_; }
  std::span<std::uint32_t const> neighbours() const { return neighbours_; }
  std::span<Obligation const> obligations() const { return obligations_; }
  std::span<std::uint32_t const> slots() const { return slots_; }  // of the obligations
  std::span<CoverTriangle const> fresh() const { return fresh_; }  // the changed faces as they will be
  CoverTriangle const& neighbour(std::size_t i) {
    if (around_ready_[i] == 0) {
      around_[i] = cover_triangle(surface_.corners[neighbours_[i]], neighbours_[i]);
      around_ready_[i] = 1;
    }
    return around_[i];
  }
  std::int64_t budget() const {
    return kBudgetPerFace * static_cast<std::int64_t>(touched_.size() + neighbours_.size()) +
           kBudgetPerOriginal * static_cast<std::int64_t>(obligations_.size());
  }

 private:
  GuardedSurface const& surface_;

  // Marks of the current question.
  std::uint32_t epoch_ = 0;
  std::vector<std::uint32_t> face_mark_;
  std::vector<std::uint32_t> slot_mark_;

  std::vector<std::uint32_t> touched_;
  std::vector<ChangedFace> changed_;
  std::vector<std::uint32_t> neighbours_;
  std::vector<Obligation> obligations_;
  std::vector<std::uint32_t> slots_;
  std::vector<CoverTriangle> fresh_;
  std::vector<CoverTriangle> around_;  // the neighbours
  std::vector<char> around_ready_;
  std::vector<std::uint32_t> under_;  // originals of a face that is free
  std::vector<std::uint32_t> near_slots_;
};

// What allows a change.
struct ChangeProof {
  struct Answer {
    std::uint32_t slot;
    std::uint32_t face;
  };
  std::vector<Answer> answers;    // who covers which original from now on
  std::vector<double> distances;  // bounds, of the changed faces from the original
  double reached = 0;             // the greatest distance that was needed, in either direction
};

}  // namespace mirel::engine
