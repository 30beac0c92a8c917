"""The zarn2d Python module: triangulate() against scipy's Delaunay and exact checks, the layout of
its arrays, constraints, errors as exceptions, and the object API's handles."""
import gc
import threading
import warnings

import numpy as np
import pytest

import zarn2d


def orient(p, q, r):
    return (q[..., 0] - p[..., 0]) * (r[..., 1] - p[..., 1]) - (q[..., 1] - p[..., 1]) * (r[..., 0] - p[..., 0])


def check_mesh(result, points):
    """Shapes, input rows first, counterclockwise triangles, symmetric neighbours across shared edges."""
    v, t, n = result["vertices"], result["triangles"], result["neighbors"]
    assert v.shape[1] == 2 and t.shape[1] == 3 and n.shape == t.shape
    assert np.array_equal(v[: len(points)], points)
    assert (orient(v[t[:, 0]], v[t[:, 1]], v[t[:, 2]]) > 0).all()
    for k, row in enumerate(n):
        for i, other in enumerate(row):
            if other < 0:
                continue
            edge = {t[k, (i + 1) % 3], t[k, (i + 2) % 3]}
            assert edge <= set(t[other]) and k in n[other]
    edges = {frozenset((a, b)) for tri in t for a, b in ((tri[0], tri[1]), (tri[1], tri[2]), (tri[2], tri[0]))}
    for a, b in result["segments"]:
        assert frozenset((a, b)) in edges


@pytest.mark.parametrize("seed", [1, 2, 3])
def test_random_points_match_scipy(seed):
    spatial = pytest.importorskip("scipy.spatial")
    points = np.random.default_rng(seed).random((3000, 2))
    result = zarn2d.triangulate(points)
    check_mesh(result, points)
    ours = {tuple(sorted(tri)) for tri in result["triangles"].tolist()}
    theirs = {tuple(sorted(tri)) for tri in spatial.Delaunay(points).simplices.tolist()}
    assert ours == theirs
    # Storage reused from the first run, or freshly allocated, gives the same mesh.
    assert np.array_equal(zarn2d.triangulate(points)["triangles"], result["triangles"])
    zarn2d.release_cached_storage()
    assert np.array_equal(zarn2d.triangulate(points)["triangles"], result["triangles"])


def test_duplicates_keep_their_rows_and_collinear_input_gives_no_triangles():
    points = np.array([[0, 0], [2, 0], [0, 2], [2, 0], [2, 2]], dtype=float)
    result = zarn2d.triangulate(points)
    check_mesh(result, points)
    used = set(result["triangles"].ravel())
    assert len(result["triangles"]) == 2 and len(used) == 4 and ({1, 3} & used) != {1, 3}
    line = zarn2d.triangulate(np.array([[0, 0], [1, 1], [2, 2]], dtype=float))
    assert line["triangles"].shape == (0, 3) and line["vertices"].shape == (3, 2)


@pytest.mark.parametrize("conforming", [False, True])
def test_crossing_segments_add_their_crossing_after_the_input(conforming):
    rng = np.random.default_rng(7)
    points = np.vstack([[[0, 0], [1, 0], [1, 1], [0, 1]], rng.random((200, 2))])
    with pytest.warns(RuntimeWarning, match="enclose no region"):
        result = zarn2d.triangulate(points, segments=[[0, 2], [1, 3]], conforming=conforming)
    check_mesh(result, points)
    v = result["vertices"]
    assert len(v) > len(points)
    assert any(np.array_equal(row, [0.5, 0.5]) for row in v[len(points):])
    # Every piece lies on one of the diagonals.
    on_diagonal = lambda p: p[0] == p[1] or p[0] + p[1] == 1.0
    assert all(on_diagonal(v[a]) and on_diagonal(v[b]) for a, b in result["segments"])


@pytest.mark.parametrize(
    "call, error, text",
    [
        (lambda: zarn2d.triangulate(np.array([[0, 0], [np.nan, 1], [1, 1]])), ValueError, "points[1] has a non-finite"),
        (lambda: zarn2d.triangulate(np.zeros((4, 3))), ValueError, "N x 2"),
        (lambda: zarn2d.triangulate(np.eye(2), segments=[[0, 5]]), ValueError, "segments[0] = (0, 5)"),
        (lambda: zarn2d.triangulate(np.eye(2), min_angle=31), ValueError, "at most 30"),
        (lambda: zarn2d.triangulate(np.eye(2), max_area=-1), ValueError, "max_area must be above 0"),
        (lambda: zarn2d.triangulate(np.eye(2), holes=[[0.5, 0.5]]), ValueError, "holes need segments"),
    ],
)
def test_bad_input_raises_with_a_message(call, error, text):
    with pytest.raises(error) as info:
        call()
    assert text in str(info.value)


def test_object_api_handles_keep_the_triangulation_alive():
    t = zarn2d.Triangulation()
    vertices = t.insert(np.random.default_rng(3).random((500, 2)))
    assert t.number_of_vertices == 500 and t.is_2d and t.check_validity()
    graph = t.insert_segments(np.array([[0.1, 0.1, 0.9, 0.9]]))
    ends = graph.pieces()
    assert t.is_constraint_edge(*ends[0])
    triangle = t.locate(0.5, 0.4)
    corners = triangle.corners
    del t, graph
    gc.collect()
    assert triangle.is_alive and all(c.is_alive for c in corners)
    assert orient(*(np.array(c.xy) for c in corners)) > 0


def test_object_api_refusals_and_stale_handles():
    t = zarn2d.Triangulation()
    t.insert(np.array([[0, 0], [4, 0], [0, 4], [4, 4]], dtype=float))
    graph = t.insert_segments(np.array([[[0, 0], [4, 4]]], dtype=float))
    end = graph.pieces()[0][0]
    with pytest.raises(ValueError, match="endpoint of a constraint"):
        t.remove(end)
    inner = t.insert_point(1, 3)
    triangle = t.locate(1, 3.5)
    t.remove(inner)
    assert not inner.is_alive and not triangle.is_alive
    with pytest.raises(ValueError, match="removed"):
        t.remove(inner)
    with pytest.raises(ValueError, match="no longer exists"):
        triangle.neighbor(0)
    other = zarn2d.Triangulation()
    with pytest.raises(ValueError, match="another triangulation"):
        other.incident_vertices(end)
    assert t.locate(10, 10) is None
    with pytest.warns(RuntimeWarning):
        t.insert_segments(np.array([[1, 1, 1, 1], [0, 4, 4, 0]], dtype=float))
    assert t.check_validity()
    arrays = t.to_arrays()
    assert len(arrays["vertices"]) == t.number_of_vertices and len(arrays["triangles"]) == t.number_of_triangles


def test_two_threads_triangulate_at_once():
    inputs = [np.random.default_rng(seed).random((20000, 2)) for seed in (11, 12)]
    expected = [zarn2d.triangulate(p)["triangles"] for p in inputs]
    results = [None, None]

    def work(i):
        results[i] = zarn2d.triangulate(inputs[i])["triangles"]

    threads = [threading.Thread(target=work, args=(i,)) for i in (0, 1)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert all(np.array_equal(r, e) for r, e in zip(results, expected))


def test_segments_and_holes_give_the_domain_only():
    outer = [[0, 0], [10, 0], [10, 10], [0, 10]]
    hole = [[4, 4], [6, 4], [6, 6], [4, 6]]
    points = np.array(outer + hole + [[20, 5]], dtype=float)
    segments = [[0, 1], [1, 2], [2, 3], [3, 0], [4, 5], [5, 6], [6, 7], [7, 4]]
    result = zarn2d.triangulate(points, segments=segments, holes=[[5, 5]])
    check_mesh(result, points)
    v, t = result["vertices"], result["triangles"]
    assert 8 not in t
    assert abs(orient(v[t[:, 0]], v[t[:, 1]], v[t[:, 2]]).sum() / 2 - 96) < 1e-12
    assert (result["neighbors"] >= -1).all() and (result["neighbors"] < len(t)).all()


def angles(v, t):
    a, b, c = v[t[:, 0]], v[t[:, 1]], v[t[:, 2]]
    result = []
    for p, q, r in ((a, b, c), (b, c, a), (c, a, b)):
        u, w = q - p, r - p
        result.append(np.degrees(np.arctan2(np.abs(u[:, 0] * w[:, 1] - u[:, 1] * w[:, 0]), (u * w).sum(axis=1))))
    return np.concatenate(result)


def test_refinement_meets_the_bounds_in_the_domain():
    outer = [[0, 0], [10, 0], [10, 10], [0, 10]]
    hole = [[4, 4], [6, 4], [6, 6], [4, 6]]
    points = np.array(outer + hole, dtype=float)
    segments = [[0, 1], [1, 2], [2, 3], [3, 0], [4, 5], [5, 6], [6, 7], [7, 4]]
    result = zarn2d.triangulate(points, segments, [[5, 5]], min_angle=28, max_area=0.5)
    check_mesh(result, points)
    v, t = result["vertices"], result["triangles"]
    area = orient(v[t[:, 0]], v[t[:, 1]], v[t[:, 2]]) / 2
    assert abs(area.sum() - 96) < 1e-9 and area.max() <= 0.5
    assert angles(v, t).min() >= 28

    tri = zarn2d.Triangulation()
    tri.insert(points)
    graph = tri.insert_segments(np.array([[points[a], points[b]] for a, b in segments]))
    zone = tri.refine(tri.domain([graph], holes=[[5, 5]]), max_edge=1.0)
    assert abs(zone.area - 96) < 1e-9 and tri.check_validity()
    for triangle in zone.triangles():
        c = np.array([corner.xy for corner in triangle.corners])
        assert max(np.hypot(*(c[i] - c[(i + 1) % 3])) for i in range(3)) <= 1.0


def test_any_array_layout_gives_the_same_mesh():
    points = np.random.default_rng(5).random((500, 2))
    reference = zarn2d.triangulate(points)
    for variant in (np.asfortranarray(points), np.hstack([points, points])[:, :2], points.tolist()):
        result = zarn2d.triangulate(variant)
        check_mesh(result, points)
        assert np.array_equal(result["triangles"], reference["triangles"])
