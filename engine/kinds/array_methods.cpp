// Sorting is defined by one loop: for every i and every j, exchange elements i and j when i is less than j
// (ascending) or greater than j (descending); texts in descending order are exchanged whenever they differ,
// which leaves them in an order of their own. Scripts see that loop's result to the last equal element. For
// more than a few elements other algorithms give the same result in less than quadratic time.
#include "engine/kinds/array_methods.h"

#include "engine/values/format.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace kestrel {

namespace {

/// Up to this length the defining loop itself is run: it is fast enough and needs no memory.
constexpr std::size_t kLoopLimit = 32;

bool isHole(const ValueCell& element) noexcept {
    return element.type == Uninitialized || element.type == Nil;
}

bool isSimple(const ArrayRecord& array) noexcept {
    return array.dimCount == 1 && !array.elements.empty();
}

double elementNumber(const ValueCell& element) {
    switch (element.type) {
        case Number:
            return element.number;
        case Integer:
            return static_cast<double>(truncate(element.number));
        case String:
        case TempString:
            return parseDouble(element.text);
        default:
            return 0.0;
    }
}

/// What an element is sorted by. Integers and Numbers share the number, texts are compared by bytes.
double sortNumber(const ValueCell& element) noexcept {
    return element.type == Integer ? static_cast<double>(truncate(element.number)) : element.number;
}

bool before(const ValueCell& a, const ValueCell& b) noexcept {
    if (a.isText()) return std::strcmp(a.text, b.text) < 0;
    return sortNumber(a) < sortNumber(b);
}

/// True when elements that compare as equal could still be told apart (0 and -0, Integers with a fraction).
template <class Less>
bool hasUnlikeEquals(std::span<const ValueCell> sorted, Less less) noexcept {
    const auto unlike = [&less](const ValueCell& a, const ValueCell& b) {
        return !less(a, b) && !a.isText() && std::memcmp(&a.number, &b.number, sizeof(double)) != 0;
    };
    return std::adjacent_find(sorted.begin(), sorted.end(), unlike) != sorted.end();
}

/// The loop sorts, but leaves equal elements in an order of its own; only where that order shows is it run
/// for long.
template <class Less>
void exchangeSort(std::span<ValueCell> run, Less less) {
    if (run.size() > kLoopLimit) {
        std::vector<ValueCell> sorted(run.begin(), run.end());
        std::sort(sorted.begin(), sorted.end(), less);
        if (!hasUnlikeEquals(std::span<const ValueCell>(sorted), less)) {
            std::copy(sorted.begin(), sorted.end(), run.begin());
            return;
        }
    }
    for (ValueCell& a : run)
        for (ValueCell& b : run)
            if (less(a, b)) std::swap(a, b);
}

/// NaN compares with nothing: the loop never moves it, and sorts the others over the places that are left.
template <class Less>
void sortAroundNaN(std::span<ValueCell> run, Less less) {
    const auto isNaN = [](const ValueCell& element) {
        return !element.isText() && std::isnan(sortNumber(element));
    };
    if (std::none_of(run.begin(), run.end(), isNaN)) return exchangeSort(run, less);
    std::vector<ValueCell> rest;
    std::copy_if(run.begin(), run.end(), std::back_inserter(rest),
                 [&isNaN](const ValueCell& element) { return !isNaN(element); });
    exchangeSort(std::span(rest), less);
    auto next = rest.begin();
    for (ValueCell& element : run)
        if (!isNaN(element)) element = *next++;
}

/// Exchanging equal texts changes nothing to be seen, so the loop may as well exchange always: then its
/// result is one fixed permutation. Its pass i moves every element one place on (the last comes to the front)
/// and then, for an i that is neither the first nor the last, cycles the elements at 0, i and i + 1. Counting
/// places from a moving origin makes that a constant number of steps per pass.
void exchangeDifferent(std::span<ValueCell> run) {
    const std::size_t n = run.size();
    std::vector<ValueCell> ring(run.begin(), run.end());
    std::size_t origin = 0;
    const auto at = [&](std::size_t place) -> ValueCell& { return ring[(origin + place) % n]; };
    for (std::size_t i = 0; i < n; ++i) {
        origin = (origin + n - 1) % n;
        if (i == 0 || i == n - 1) continue;
        const ValueCell front = at(0);
        at(0) = at(i + 1);
        at(i + 1) = at(i);
        at(i) = front;
    }
    for (std::size_t i = 0; i < n; ++i) run[i] = at(i);
}

}  // namespace

std::int64_t countAssigned(const ArrayRecord& array) noexcept {
    return std::count_if(array.elements.begin(), array.elements.end(),
                         [](const ValueCell& element) { return !isHole(element); });
}

VectorValue arrayAsVector(const ArrayRecord& array) {
    double found[3] = {0.0, 0.0, 0.0};
    std::size_t count = 0;
    for (const ValueCell& element : array.elements) {
        if (count == 3) break;
        const double value = elementNumber(element);
        if (value != 0.0) found[count++] = value;
    }
    return {found[0], found[1], found[2]};
}

int packArray(ArrayRecord& array) noexcept {
    if (!isSimple(array)) return 0;
    auto& elements = array.elements;
    auto hole = std::find_if(elements.begin(), elements.end(), isHole);
    if (hole == elements.end()) return 1;
    if (std::all_of(hole, elements.end(), isHole)) return 2;
    for (auto from = hole; from != elements.end(); ++from) {
        if (isHole(*from)) continue;
        *hole++ = *from;
        *from = ValueCell::ofNil();
    }
    return 0;
}

std::int64_t trimArray(EngineContext& ctx, ArrayRecord& array) {
    if (!isSimple(array)) return 0;
    std::int64_t last = array.count();
    while (last > 0 && isHole(array.elements[static_cast<std::size_t>(last - 1)])) --last;
    if (last == 0 || last == array.count()) return 0;
    return resizeArray(ctx, array, last) ? last : 0;
}

int sortArray(ArrayRecord& array, bool ascending) {
    if (!isSimple(array)) return 0;
    static_cast<void>(packArray(array));
    const ValueCell& first = array.elements.front();
    if (!first.isNumeric() && !first.isText()) return 1;
    const auto sameKind = [isText = first.isText(), type = first.type](const ValueCell& element) {
        return isText ? element.isText() : element.type == type;
    };
    const auto end = std::find_if_not(array.elements.begin(), array.elements.end(), sameKind);
    const std::span<ValueCell> run(array.elements.begin(), end);
    if (run.size() == 1) return 1;

    if (ascending)
        sortAroundNaN(run, before);
    else if (first.isText())
        exchangeDifferent(run);
    else
        sortAroundNaN(run, [](const ValueCell& a, const ValueCell& b) { return before(b, a); });
    return 0;
}

}  // namespace kestrel
