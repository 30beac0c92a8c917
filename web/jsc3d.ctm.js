/**
 * jsc3d.ctm.js - loader for OpenCTM files (.ctm) written with the uncompressed RAW method.
 *
 * Layout read here (all integers and floats little-endian, 32 bits):
 *   'OCTM', format version (5), method ('RAW\0', 'MG1\0' or 'MG2\0'), vertex count,
 *   triangle count, UV map count, attribute map count, flags (bit 0: normals present),
 *   comment (length-prefixed string);
 *   'INDX' + 3 indices per triangle; 'VERT' + 3 floats per vertex; then optional 'NORM',
 *   'TEXC' and 'ATTR' blocks, which the viewer does not need and so are not read.
 * The LZMA-compressed methods MG1 and MG2 are rejected with a message naming the method.
 */
var JSC3D = JSC3D || {};

(function (J) {
  'use strict';

  function Reader(buffer) {
    this.view = new DataView(buffer);
    this.offset = 0;
  }
  Reader.prototype.need = function (bytes) {
    if (this.offset + bytes > this.view.byteLength) throw new Error('truncated OpenCTM file');
  };
  Reader.prototype.int32 = function () {
    this.need(4);
    var value = this.view.getInt32(this.offset, true);
    this.offset += 4;
    return value;
  };
  Reader.prototype.float32 = function () {
    this.need(4);
    var value = this.view.getFloat32(this.offset, true);
    this.offset += 4;
    return value;
  };
  Reader.prototype.tag = function () {
    this.need(4);
    var text = '';
    for (var i = 0; i < 4; i++) text += String.fromCharCode(this.view.getUint8(this.offset + i));
    this.offset += 4;
    return text;
  };
  Reader.prototype.skipString = function () {
    var length = this.int32();
    if (length < 0) throw new Error('bad string length in OpenCTM file');
    this.need(length);
    this.offset += length;
  };
  Reader.prototype.expect = function (tag) {
    var found = this.tag();
    if (found !== tag) throw new Error('OpenCTM: expected ' + tag + ' block, found ' + JSON.stringify(found));
  };

  J.CtmLoader = {
    binary: true,
    parse: function (buffer) {
      var r = new Reader(buffer);
      r.expect('OCTM');
      var version = r.int32();
      if (version !== 5) throw new Error('OpenCTM version ' + version + ' is not supported');
      var method = r.tag().replace(/\0+$/, '');
      var numVertices = r.int32(), numTriangles = r.int32();
      r.int32();  // UV maps
      r.int32();  // attribute maps
      r.int32();  // flags
      r.skipString();
      if (method !== 'RAW') throw new Error('OpenCTM method ' + method + ' is not supported, save the mesh with RAW');
      if (numVertices < 0 || numTriangles < 0) throw new Error('bad counts in OpenCTM file');
      var faces = new Array(numTriangles * 3), vertices = new Array(numVertices * 3), i;
      r.expect('INDX');
      for (i = 0; i < faces.length; i++) faces[i] = r.int32();
      r.expect('VERT');
      for (i = 0; i < vertices.length; i++) vertices[i] = r.float32();
      return new J.Mesh(vertices, faces).init();
    }
  };
  J.LoaderSelector.registerLoader('ctm', J.CtmLoader);
})(JSC3D);
