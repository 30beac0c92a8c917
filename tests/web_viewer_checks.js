// Checks of the web viewer's scripts without a browser: loaders, rasteriser, view maths, input
// helpers and the on-page log. Run as: node web_viewer_checks.js <directory of the viewer files>
'use strict';
const fs = require('fs');
const path = require('path');
const vm = require('vm');
const assert = require('assert');

const webDir = process.argv[2];
const context = vm.createContext({console: {log: function () {}}});
for (const name of ['jsc3d.ie.js', 'jsc3d.js', 'jsc3d.ctm.js', 'jsc3d.3ds.js', 'jsc3d.touch.js', 'jsc3d.webgl.js',
  'jsc3d.console.js']) {
  vm.runInContext(fs.readFileSync(path.join(webDir, name), 'utf8'), context, {filename: name});
}
const J = context.JSC3D;

let passed = 0;
let failed = 0;
function check(name, body) {
  try {
    body();
    passed++;
  } catch (e) {
    failed++;
    console.log('FAILED ' + name + ': ' + (e && e.stack ? e.stack : e));
  }
}
const plain = (x) => Array.from(x);

// Little-endian binary writer for building test files.
function Binary() { this.bytes = []; }
Binary.prototype.u8 = function (v) { this.bytes.push(v & 255); return this; };
Binary.prototype.u16 = function (v) { return this.u8(v).u8(v >> 8); };
Binary.prototype.i32 = function (v) { return this.u16(v & 0xffff).u16((v >> 16) & 0xffff); };
Binary.prototype.f32 = function (v) {
  const b = new Uint8Array(new Float32Array([v]).buffer);
  for (const x of b) this.u8(x);
  return this;
};
Binary.prototype.text = function (s) { for (const c of s) this.u8(c.charCodeAt(0)); return this; };
Binary.prototype.buffer = function () { return new Uint8Array(this.bytes).buffer; };
function chunk(id, body) {
  return new Binary().u16(id).i32(6 + body.length).bytes.concat(body);
}

// A unit square in the xy plane: two counterclockwise triangles.
function square(size) {
  return new J.Mesh([0, 0, 0, size, 0, 0, size, size, 0, 0, size, 0], [0, 1, 2, 0, 2, 3]).init();
}
function frame(width, height) {
  const zBuffer = new Float32Array(width * height).fill(-Infinity);
  return {data: new Uint8ClampedArray(width * height * 4), zBuffer: zBuffer, width: width, height: height};
}
function view(mesh, extra) {
  return Object.assign({mesh: mesh, rotation: J.Math3.identity(), scale: 1, originX: 0, originY: 0,
    color: [200, 100, 50], renderMode: 'flat', faceCulling: false}, extra);
}
function coveredPixels(f) {
  let n = 0;
  for (let i = 3; i < f.data.length; i += 4) if (f.data[i] === 255) n++;
  return n;
}

check('OBJ: polygons are fanned, relative and slashed indices resolved, bad faces dropped', () => {
  const mesh = J.ObjLoader.parse('# comment\nv 0 0 0\nv 1 0 0\nv 1 1 0\r\nv 0 1 0\nvt 0 0\n' +
    'f 1/1 2/2 3/3 4/4\nv 2 2 1\nf -1 -3 -2\nf 1 2 9\ng ignored\n');
  assert.deepStrictEqual(plain(mesh.indexBuffer), [0, 1, 2, 0, 2, 3, 4, 2, 3]);
  assert.strictEqual(mesh.vertexBuffer.length, 15);
  assert.deepStrictEqual(plain(mesh.center), [1, 1, 0.5]);
  assert.ok(Math.abs(mesh.radius - Math.sqrt(2.25)) < 1e-12);
});

check('OBJ: a missing z is 0 and normals of a counterclockwise square point up', () => {
  const mesh = J.ObjLoader.parse('v 0 0\nv 2 0\nv 2 2\nv 0 2\nf 1 2 3 4\n');
  assert.deepStrictEqual(plain(mesh.faceNormals), [0, 0, 1, 0, 0, 1]);
  assert.deepStrictEqual(plain(mesh.vertexNormals.slice(0, 3)), [0, 0, 1]);
});

function ctmFile(method, vertices, faces) {
  const b = new Binary().text('OCTM').i32(5).text(method).i32(vertices.length / 3).i32(faces.length / 3)
    .i32(0).i32(0).i32(0).i32(2).text('hi').text('INDX');
  faces.forEach((i) => b.i32(i));
  b.text('VERT');
  vertices.forEach((v) => b.f32(v));
  return b.buffer();
}

check('CTM: RAW meshes are read exactly', () => {
  const vertices = [0, 0, 0, 1.5, 0, 0, 1.5, 2.25, 0, -3, 4, 0.5];
  const mesh = J.CtmLoader.parse(ctmFile('RAW\0', vertices, [0, 1, 2, 0, 2, 3]));
  assert.deepStrictEqual(plain(mesh.vertexBuffer), vertices);
  assert.deepStrictEqual(plain(mesh.indexBuffer), [0, 1, 2, 0, 2, 3]);
});

check('CTM: compressed methods, wrong magic and truncation are reported', () => {
  assert.throws(() => J.CtmLoader.parse(ctmFile('MG2\0', [0, 0, 0], [])), /MG2/);
  assert.throws(() => J.CtmLoader.parse(new Binary().text('OBJ ').i32(5).buffer()), /expected OCTM/);
  const whole = new Uint8Array(ctmFile('RAW\0', [0, 0, 0, 1, 0, 0, 0, 1, 0], [0, 1, 2]));
  assert.throws(() => J.CtmLoader.parse(whole.slice(0, whole.length - 2).buffer), /truncated/);
});

function triMesh(points) {
  const v = new Binary().u16(points.length / 3);
  points.forEach((x) => v.f32(x));
  const f = new Binary().u16(1).u16(0).u16(1).u16(2).u16(0);
  return chunk(0x4100, chunk(0x4110, v.bytes).concat(chunk(0x4120, f.bytes)));
}

check('3DS: objects are merged with their own index bases, other chunks skipped', () => {
  const first = chunk(0x4000, new Binary().text('a\0').bytes.concat(triMesh([0, 0, 0, 1, 0, 0, 0, 1, 0])));
  const junk = chunk(0xAFFF, [1, 2, 3, 4, 5]);
  const second = chunk(0x4000, new Binary().text('bb\0').bytes.concat(triMesh([5, 5, 1, 6, 5, 1, 5, 6, 1])));
  const file = chunk(0x4D4D, chunk(0x0002, [3, 0, 0, 0]).concat(chunk(0x3D3D, first.concat(junk, second))));
  const mesh = J.Autodesk3DSLoader.parse(new Uint8Array(file).buffer);
  assert.deepStrictEqual(plain(mesh.indexBuffer), [0, 1, 2, 3, 4, 5]);
  assert.deepStrictEqual(plain(mesh.vertexBuffer.slice(9)), [5, 5, 1, 6, 5, 1, 5, 6, 1]);
});

check('3DS: a chunk longer than its parent is an error', () => {
  const bad = new Binary().u16(0x4D4D).i32(100).u16(0x3D3D).i32(6);
  assert.throws(() => J.Autodesk3DSLoader.parse(bad.buffer()), /corrupt/);
  assert.throws(() => J.Autodesk3DSLoader.parse(new Binary().u16(0x1234).i32(6).buffer()), /not a 3DS/);
});

check('Rasteriser: a square covers exactly its pixels, with no gap on the diagonal', () => {
  const f = frame(20, 20);
  const v = view(square(10), {originX: 5, originY: 10});  // positions are taken relative to the centre
  J.rasterizeMesh(f, J.projectVertices(v), v);
  assert.strictEqual(coveredPixels(f), 100);
  // the square spans screen x 0..10 and y 5..15 (model y points up, screen y down)
  assert.strictEqual(f.data[(5 * 20 + 0) * 4 + 3], 255);
  assert.strictEqual(f.data[(4 * 20 + 0) * 4 + 3], 0);
  assert.strictEqual(f.data[(14 * 20 + 9) * 4 + 3], 255);
});

check('Rasteriser: Lambert shading and the nearer face wins', () => {
  // Facing the light exactly: full colour. Seen edge-on to the light: ambient only.
  assert.ok(Math.abs(J.shade(0.2 / Math.sqrt(1.29), 0.5 / Math.sqrt(1.29), 1 / Math.sqrt(1.29)) - 1) < 1e-12);
  assert.ok(Math.abs(J.shade(0, 2 / Math.sqrt(5), -1 / Math.sqrt(5)) - 0.3) < 1e-12);
  const near = new J.Mesh([0, 0, 1, 8, 0, 1, 0, 8, 1, 0, 0, -1, 8, 0, -1, 0, 8, -1], [0, 1, 2, 3, 4, 5]).init();  // the near face first
  const f = frame(10, 10);
  const v = view(near, {originX: 4, originY: 6});
  J.rasterizeMesh(f, J.projectVertices(v), v);
  assert.strictEqual(f.zBuffer[9 * 10 + 0], 1);
});

check('Rasteriser: face culling hides faces turned away', () => {
  const flipped = {mesh: square(4), rotation: J.Math3.rotation('y', 180), scale: 1, originX: 5, originY: 5,
    color: [1, 1, 1], renderMode: 'smooth', faceCulling: true};
  const f = frame(10, 10);
  J.rasterizeMesh(f, J.projectVertices(flipped), flipped);
  assert.strictEqual(coveredPixels(f), 0);
  flipped.faceCulling = false;
  J.rasterizeMesh(f, J.projectVertices(flipped), flipped);
  assert.strictEqual(coveredPixels(f), 16);
});

check('Viewer: parameters, initial rotation, render modes and zoom limits', () => {
  const canvas = {width: 200, height: 100};
  const viewer = new J.Viewer(canvas, {InitRotationX: -90, ModelColor: '#CAA618', BackgroundColor2: 'nonsense'});
  const m = viewer.rotation;
  // -90 degrees about x turns the model's y axis away from the viewer (into -z)
  assert.ok(Math.abs(m[7] + 1) < 1e-12 && Math.abs(m[4]) < 1e-12);
  viewer.setRenderMode('wireframe');
  assert.strictEqual(viewer.getView().renderMode, 'wireframe');
  viewer.setRenderMode('texture');
  assert.strictEqual(viewer.renderMode, 'smooth');
  assert.deepStrictEqual(plain(viewer.getView().color), [202, 166, 24]);
  assert.deepStrictEqual(plain(viewer.getView().background2), [56, 56, 64]);
  viewer.zoomBy(1e9);
  assert.strictEqual(viewer.zoom, 100);
  viewer.zoomBy(-1);
  assert.strictEqual(viewer.zoom, 100);
});

check('Viewer: dragging right turns the front of the model to the right', () => {
  const viewer = new J.Viewer({width: 10, height: 10});
  viewer.rotate(90, 0);
  const m = viewer.rotation;  // the model's +z (facing the viewer) now points to screen +x
  assert.ok(Math.abs(m[2] - 1) < 1e-12 && Math.abs(m[8]) < 1e-12);
  viewer.resetView();
  viewer.rotate(0, 90);  // dragging down: the front goes down (view y decreases)
  assert.ok(Math.abs(viewer.rotation[5] + 1) < 1e-12);
});

check('Loader selection by extension, ignoring case and query', () => {
  assert.strictEqual(J.LoaderSelector.getLoader('dir/Mesh.OBJ?v=2'), J.ObjLoader);
  assert.strictEqual(J.LoaderSelector.getLoader('3d.ctm#x'), J.CtmLoader);
  assert.strictEqual(J.LoaderSelector.getLoader('a.3DS'), J.Autodesk3DSLoader);
  assert.strictEqual(J.LoaderSelector.getLoader('a.stl'), null);
  assert.strictEqual(J.LoaderSelector.getLoader('obj'), null);
});

check('Colours: long and short hex forms, fallback otherwise', () => {
  assert.deepStrictEqual(plain(J.parseColor('#CAA618', null)), [202, 166, 24]);
  assert.deepStrictEqual(plain(J.parseColor('#fff', null)), [255, 255, 255]);
  assert.strictEqual(J.parseColor('red', 'fallback'), 'fallback');
});

check('Touch: one finger rotates, two fingers zoom by their spread and pan by their midpoint', () => {
  const calls = [];
  const fake = {rotate: (a, b) => calls.push(['rotate', a, b]), zoomBy: (f) => calls.push(['zoom', f]),
    translate: (a, b) => calls.push(['translate', a, b])};
  J.applyTouchMove(fake, {count: 1, x: 0, y: 0, spread: 0}, {count: 1, x: 10, y: -4, spread: 0});
  J.applyTouchMove(fake, {count: 2, x: 5, y: 5, spread: 50}, {count: 2, x: 8, y: 1, spread: 100});
  J.applyTouchMove(fake, {count: 1, x: 0, y: 0, spread: 0}, {count: 2, x: 9, y: 9, spread: 10});
  assert.deepStrictEqual(calls, [['rotate', 5, -2], ['zoom', 2], ['translate', 3, -4]]);
});

check('WebGL arrays: corners per face, every edge once, every vertex once', () => {
  const arrays = J.buildGpuArrays(square(2));
  assert.strictEqual(arrays.triangles.length, 6 * 3);
  assert.strictEqual(arrays.edges.length, 5 * 2 * 3);
  assert.strictEqual(arrays.points.length, 4 * 3);
  assert.deepStrictEqual(plain(arrays.triangles.slice(0, 3)), [-1, -1, 0]);  // relative to the centre
});

check('Console: keeps the newest lines and receives the log', () => {
  J.Console.maxLines = 3;
  J.Console.clear();
  ['a', 'b', 'c', 'd'].forEach((s) => J.log(s));
  assert.deepStrictEqual(plain(J.Console.lines.map((l) => l.slice(-1))), ['b', 'c', 'd']);
});

console.log('web viewer checks: ' + passed + ' passed, ' + failed + ' failed');
process.exit(failed === 0 ? 0 : 1);
