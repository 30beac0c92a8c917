/**
 * jsc3d.3ds.js - loader for Autodesk 3DS binary files (.3ds): the triangle meshes only.
 *
 * A 3DS file is a tree of chunks, each [id: uint16][length incl. this 6-byte header: uint32]
 * followed by its data and children (little-endian). Read here:
 *   0x4D4D main -> 0x3D3D editor -> 0x4000 named object (zero-terminated name, then children)
 *   -> 0x4100 triangle mesh -> 0x4110 vertices (uint16 count, count x 3 float32)
 *                           -> 0x4120 faces (uint16 count, count x [a b c flags] uint16).
 * All other chunks (materials, keyframes, ...) are skipped by their length. Several objects are
 * merged into one mesh.
 */
var JSC3D = JSC3D || {};

(function (J) {
  'use strict';

  var MAIN = 0x4D4D, EDITOR = 0x3D3D, OBJECT = 0x4000, TRIMESH = 0x4100, VERTICES = 0x4110, FACES = 0x4120;

  function readChunks(view, begin, end, visit) {
    var offset = begin;
    while (offset + 6 <= end) {
      var id = view.getUint16(offset, true), length = view.getUint32(offset + 2, true);
      if (length < 6 || offset + length > end) throw new Error('corrupt 3DS chunk 0x' + id.toString(16));
      visit(id, offset + 6, offset + length);
      offset += length;
    }
  }

  function skipName(view, begin, end) {
    var offset = begin;
    while (offset < end && view.getUint8(offset) !== 0) offset++;
    return offset + 1;
  }

  J.Autodesk3DSLoader = {
    binary: true,
    parse: function (buffer) {
      var view = new DataView(buffer), vertices = [], faces = [], base = 0;
      if (view.byteLength < 6 || view.getUint16(0, true) !== MAIN) throw new Error('not a 3DS file');
      function readMesh(id, begin, end) {
        var i, count;
        if (id === VERTICES) {
          base = vertices.length / 3;
          count = view.getUint16(begin, true);
          if (begin + 2 + count * 12 > end) throw new Error('truncated 3DS vertex list');
          for (i = 0; i < count * 3; i++) vertices.push(view.getFloat32(begin + 2 + i * 4, true));
        } else if (id === FACES) {
          count = view.getUint16(begin, true);
          if (begin + 2 + count * 8 > end) throw new Error('truncated 3DS face list');
          for (i = 0; i < count; i++) {
            var at = begin + 2 + i * 8;
            faces.push(base + view.getUint16(at, true), base + view.getUint16(at + 2, true), base + view.getUint16(at + 4, true));
          }
        }
      }
      readChunks(view, 0, view.byteLength, function (id, begin, end) {
        if (id !== MAIN) return;
        readChunks(view, begin, end, function (id, begin, end) {
          if (id !== EDITOR) return;
          readChunks(view, begin, end, function (id, begin, end) {
            if (id !== OBJECT) return;
            readChunks(view, skipName(view, begin, end), end, function (id, begin, end) {
              if (id === TRIMESH) readChunks(view, begin, end, readMesh);
            });
          });
        });
      });
      return new J.Mesh(vertices, faces).init();
    }
  };
  J.LoaderSelector.registerLoader('3ds', J.Autodesk3DSLoader);
})(JSC3D);
