"""How sure a figure is: the median of what was measured, the interval that it lies in, how many pairs that takes, and
whether the figure keeps its limit."""

import bisect
import dataclasses
import math
import statistics
import time

CONFIDENCE = 0.95
HELD, OVER, UNDECIDED = "held", "OVER", "not decided"


@dataclasses.dataclass(frozen=True)
class Interval:
    """A median and, at both sides, how far off the true one may be."""

    low: float
    middle: float
    high: float

    def precision(self):
        """Half the interval's width as a share of the median; 0.02 is +-2 %."""
        return (self.high - self.low) / 2 / abs(self.middle) if self.middle else math.inf

    def scaled(self, factor):
        return Interval(self.low * factor, self.middle * factor, self.high * factor)


def exactly(value):
    """The interval of what is counted and not measured."""
    return Interval(value, value, value)


@dataclasses.dataclass(frozen=True)
class Limit:
    """What a figure is to be at most, or at least."""

    value: float
    at_least: bool = False

    def verdict(self, interval):
        """A figure is over its limit only when the whole of its interval is."""
        low, high = (-interval.high, -interval.low) if self.at_least else (interval.low, interval.high)
        value = -self.value if self.at_least else self.value
        if low > value:
            return OVER
        return HELD if high <= value else UNDECIDED

    def __str__(self):
        return f"{'>=' if self.at_least else '<='} {self.value:g}"


def chance_of_at_least(successes, trials, chance):
    """The chance of at least so many successes in independent trials."""
    if chance <= 0:
        return 1.0 if successes <= 0 else 0.0
    if chance >= 1:
        return 1.0
    logarithms = (math.lgamma(trials + 1) - math.lgamma(k + 1) - math.lgamma(trials - k + 1) + k * math.log(chance)
                  + (trials - k) * math.log1p(-chance) for k in range(successes, trials + 1))
    return min(1.0, math.fsum(math.exp(logarithm) for logarithm in logarithms))


def interval_of_median(values):
    """The bootstrap's percentile interval of the median. Drawing samples again and again is not needed for it: the
    median of a sample that is drawn from n values is at most the k-th smallest of them just when the greater half of its
    draws are, each with a chance of k / n. With an even number the lower of the two middle draws is taken for the lower
    end, the upper one for the upper end."""
    if not values:
        raise ValueError("there is no median of nothing")
    ordered = sorted(values)
    count = len(ordered)
    tail = (1 - CONFIDENCE) / 2
    lower_half, upper_half = (count + 1) // 2, count // 2 + 1

    def smallest_with(share, draws):
        return ordered[bisect.bisect_left(range(1, count + 1), share,
                                          key=lambda k: chance_of_at_least(draws, count, k / count))]

    return Interval(smallest_with(tail, lower_half), statistics.median(ordered),
                    smallest_with(1 - tail, upper_half))


@dataclasses.dataclass(frozen=True)
class Patience:
    """When to stop: at the precision that is wanted, but after some pairs; and in any case after many, or some time."""

    fewest_pairs: int = 5  # however long they take; an interval of fewer is none
    least_pairs: int = 15
    most_pairs: int = 401
    seconds: float = 60
    precision: float = 0.02

    def is_enough(self, values, elapsed):
        # Always an odd number of pairs, so that the median is one of them.
        if len(values) % 2 == 0:
            return False
        if len(values) < self.fewest_pairs:
            return False
        if len(values) >= self.most_pairs or elapsed >= self.seconds:
            return True
        return len(values) >= self.least_pairs and interval_of_median(values).precision() <= self.precision


def sample(patience, measure, value_of, clock=time.monotonic):
    """What measure(number of the pair) returns for one pair after the other, until the values of them are enough."""
    began = clock()
    measured, values = [], []
    while not patience.is_enough(values, clock() - began):
        measured.append(measure(len(measured)))
        values.append(value_of(measured[-1]))
    return measured


def growth_by_doubling(sizes, costs):
    """How much more the largest size costs than half of it, as an interval; costs are intervals, by size. The cost that
    the smallest size has, too, is taken off both, so that what does not grow does not hide what does."""
    smallest, half, whole = costs[sizes[0]], costs[sizes[-2]], costs[sizes[-1]]
    if 2 * sizes[-2] != sizes[-1]:
        raise ValueError(f"{sizes[-1]} is not the double of {sizes[-2]}")

    def quotient(more, less):
        return more / less if less > 0 else math.inf

    return Interval(quotient(whole.low - smallest.high, half.high - smallest.low),
                    quotient(whole.middle - smallest.middle, half.middle - smallest.middle),
                    quotient(whole.high - smallest.low, half.low - smallest.high))
