#pragma once

#include <algorithm>
#include <functional>
#include <vector>

namespace sync::test {

/// The shortest list that still fails, found by leaving out parts of a failing one.
///
/// Halves are tried first, then ever smaller parts (delta debugging, Zeller and Hildebrandt 2002).
template <class Step>
std::vector<Step> shrunk(
    std::vector<Step> steps, const std::function<bool(const std::vector<Step>&)>& fails)
{
    for (std::size_t part = steps.size() / 2; part > 0;) {
        bool shorter = false;
        for (std::size_t start = 0; start < steps.size();) {
            std::vector<Step> candidate(
                steps.begin(), steps.begin() + static_cast<std::ptrdiff_t>(start));
            const std::size_t end = std::min(start + part, steps.size());
            candidate.insert(
                candidate.end(), steps.begin() + static_cast<std::ptrdiff_t>(end), steps.end());
            if (fails(candidate)) {
                steps = std::move(candidate);
                shorter = true;
            } else {
                start += part;
            }
        }
        if (!shorter || part > steps.size())
            part /= 2;
    }
    return steps;
}

} // namespace sync::test
