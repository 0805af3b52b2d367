"""The decision tree against a direct walk of its node list."""

import numpy as np
import pytest

import kmath

# Feature 0: column 2, numeric; feature 1: column 0, options 1, 4, 9.
FEATURES = [2, (0, [1, 4, 9])]
NODES = [
    (0, [0.5]),                 # column 2 < 0.5 ?
    (1, []),                    #   yes: by the option in column 0
    (None, [3, 0.9]),           #     1
    (None, [5, 0.2, 6, 0.7]),   #     4: class 6 scores higher
    (0, [0.25]),                #     9: column 2 < 0.25 ?
    (None, [7, 1.0]),
    (None, [8, 1.0]),
    (None, [1, 0.5]),           #   no
]


def walk(row):
    if row[2] >= 0.5:
        return 1
    code = row[0]
    if code == 1:
        return 3
    if code == 4:
        return 6
    if code == 9:
        return 7 if row[2] < 0.25 else 8
    return -1


def test_predictions_follow_the_tree():
    rng = np.random.default_rng(4)
    rows = np.column_stack([rng.choice([1, 4, 9, 2], 500), rng.normal(size=500), rng.uniform(0, 1, 500)])
    tree = kmath.DecisionTree(NODES, FEATURES)
    np.testing.assert_array_equal(tree.predict(rows), [walk(r) for r in rows])
    assert tree.classify([4, 0, 0.1]) == [(6, 0.7), (5, 0.2)]
    assert tree.classify([4, 0]) == []  # too short for column 2


def test_bad_trees_and_rows_are_refused():
    with pytest.raises(ValueError):
        kmath.DecisionTree(NODES[:-1], FEATURES)        # ends early
    with pytest.raises(ValueError):
        kmath.DecisionTree(NODES + [(None, [1, 1.0])], FEATURES)  # left over
    with pytest.raises(ValueError):
        kmath.DecisionTree([(5, [0.0]), (None, [1, 1.0]), (None, [2, 1.0])], FEATURES)
    with pytest.raises(ValueError):
        kmath.DecisionTree(NODES, [2, (0, [4, 1, 9])])   # options not ascending
    tree = kmath.DecisionTree(NODES, FEATURES)
    with pytest.raises(ValueError):
        tree.predict([[1.5, 0, 0.1]])                    # not an option code
    with pytest.raises(ValueError):
        tree.predict([1, 0, 0.1])                        # not a 2-d array
    empty = kmath.DecisionTree([], [])
    np.testing.assert_array_equal(empty.predict(np.zeros((3, 2))), [-1, -1, -1])
