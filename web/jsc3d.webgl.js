/**
 * jsc3d.webgl.js - WebGL renderer for JSC3D.Viewer. Include it after jsc3d.js; the viewer then
 * draws with WebGL when the browser offers it (and the parameter Renderer is not 'software'),
 * and falls back to the 2D canvas renderer otherwise. Same picture as the software renderer:
 * orthographic view, two-colour gradient, two-sided Lambert shading.
 */
var JSC3D = JSC3D || {};

(function (J) {
  'use strict';

  var MESH_VS = [
    'attribute vec3 aPosition;',
    'attribute vec3 aNormal;',
    'uniform mat3 uRotation;',
    'uniform vec2 uScale;',       // model units to clip units, x and y
    'uniform vec2 uOrigin;',      // clip position of the model centre
    'uniform float uDepthScale;', // model units to clip depth
    'uniform float uPointSize;',
    'varying vec3 vNormal;',
    'void main() {',
    '  vec3 p = uRotation * aPosition;',
    '  vNormal = uRotation * aNormal;',
    '  gl_Position = vec4(uOrigin + p.xy * uScale, -p.z * uDepthScale, 1.0);',
    '  gl_PointSize = uPointSize;',
    '}'
  ].join('\n');

  var MESH_FS = [
    'precision mediump float;',
    'uniform vec3 uColor;',
    'uniform vec3 uLight;',
    'uniform float uShaded;',
    'varying vec3 vNormal;',
    'void main() {',
    '  float lambert = 0.3 + 0.7 * abs(dot(normalize(vNormal), uLight));',
    '  gl_FragColor = vec4(uColor * mix(1.0, lambert, uShaded), 1.0);',
    '}'
  ].join('\n');

  var BACKGROUND_VS = 'attribute vec2 aCorner; attribute vec3 aColor; varying vec3 vColor;' +
    'void main() { vColor = aColor; gl_Position = vec4(aCorner, 0.999, 1.0); }';
  var BACKGROUND_FS = 'precision mediump float; varying vec3 vColor; void main() { gl_FragColor = vec4(vColor, 1.0); }';

  function compile(gl, type, source) {
    var shader = gl.createShader(type);
    gl.shaderSource(shader, source);
    gl.compileShader(shader);
    if (!gl.getShaderParameter(shader, gl.COMPILE_STATUS)) throw new Error(gl.getShaderInfoLog(shader));
    return shader;
  }

  function link(gl, vertexSource, fragmentSource) {
    var program = gl.createProgram();
    gl.attachShader(program, compile(gl, gl.VERTEX_SHADER, vertexSource));
    gl.attachShader(program, compile(gl, gl.FRAGMENT_SHADER, fragmentSource));
    gl.linkProgram(program);
    if (!gl.getProgramParameter(program, gl.LINK_STATUS)) throw new Error(gl.getProgramInfoLog(program));
    return program;
  }

  function buffer(gl, values) {
    var b = gl.createBuffer();
    gl.bindBuffer(gl.ARRAY_BUFFER, b);
    gl.bufferData(gl.ARRAY_BUFFER, new Float32Array(values), gl.STATIC_DRAW);
    return b;
  }

  /**
   * Unindexed arrays for drawArrays (so meshes of any size need no 32-bit indices): positions
   * relative to the centre with face or vertex normals per corner, the edges once each, and
   * the vertices.
   */
  J.buildGpuArrays = function (mesh) {
    var v = mesh.vertexBuffer, f = mesh.indexBuffer, c = mesh.center, out = {triangles: [], flatNormals: [], smoothNormals: [], edges: [], points: []};
    var seen = {}, i, k;
    function position(index, target) { target.push(v[index * 3] - c[0], v[index * 3 + 1] - c[1], v[index * 3 + 2] - c[2]); }
    for (i = 0; i < f.length; i += 3) {
      for (k = 0; k < 3; k++) {
        var a = f[i + k], b = f[i + (k + 1) % 3], key = a < b ? a + ',' + b : b + ',' + a;
        position(a, out.triangles);
        out.flatNormals.push(mesh.faceNormals[i], mesh.faceNormals[i + 1], mesh.faceNormals[i + 2]);
        out.smoothNormals.push(mesh.vertexNormals[a * 3], mesh.vertexNormals[a * 3 + 1], mesh.vertexNormals[a * 3 + 2]);
        if (!seen[key]) {
          seen[key] = true;
          position(a, out.edges);
          position(b, out.edges);
        }
      }
    }
    for (i = 0; i < v.length / 3; i++) position(i, out.points);
    return out;
  };

  J.WebGLRenderer = function (gl) {
    this.gl = gl;
    this.meshProgram = link(gl, MESH_VS, MESH_FS);
    this.backgroundProgram = link(gl, BACKGROUND_VS, BACKGROUND_FS);
    this.mesh = null;
    this.buffers = null;
  };

  /** A renderer on the canvas, or null when WebGL is unavailable or its shaders fail. */
  J.WebGLRenderer.create = function (canvas) {
    try {
      var gl = canvas.getContext('webgl', {antialias: true}) || canvas.getContext('experimental-webgl');
      return gl ? new J.WebGLRenderer(gl) : null;
    } catch (e) {
      J.log('WebGL unavailable, using the software renderer: ' + e.message);
      return null;
    }
  };

  J.WebGLRenderer.prototype.upload = function (mesh) {
    var gl = this.gl, arrays = J.buildGpuArrays(mesh);
    this.mesh = mesh;
    this.buffers = {
      triangles: buffer(gl, arrays.triangles), flatNormals: buffer(gl, arrays.flatNormals),
      smoothNormals: buffer(gl, arrays.smoothNormals), edges: buffer(gl, arrays.edges), points: buffer(gl, arrays.points),
      numTriangleCorners: arrays.triangles.length / 3, numEdgeEnds: arrays.edges.length / 3, numPoints: arrays.points.length / 3
    };
  };

  J.WebGLRenderer.prototype.drawBackground = function (top, bottom) {
    var gl = this.gl, p = this.backgroundProgram, t = top.map(function (x) { return x / 255; }), b = bottom.map(function (x) { return x / 255; });
    gl.useProgram(p);
    gl.disable(gl.DEPTH_TEST);
    var corners = buffer(gl, [-1, 1, 1, 1, -1, -1, 1, -1]), colors = buffer(gl, t.concat(t, b, b));
    bindAttribute(gl, p, 'aCorner', corners, 2);
    bindAttribute(gl, p, 'aColor', colors, 3);
    gl.drawArrays(gl.TRIANGLE_STRIP, 0, 4);
    gl.deleteBuffer(corners);
    gl.deleteBuffer(colors);
  };

  function bindAttribute(gl, program, name, glBuffer, size) {
    var location = gl.getAttribLocation(program, name);
    if (location < 0) return;
    gl.bindBuffer(gl.ARRAY_BUFFER, glBuffer);
    gl.enableVertexAttribArray(location);
    gl.vertexAttribPointer(location, size, gl.FLOAT, false, 0, 0);
  }

  J.WebGLRenderer.prototype.render = function (view) {
    var gl = this.gl, w = gl.drawingBufferWidth, h = gl.drawingBufferHeight;
    gl.viewport(0, 0, w, h);
    gl.clear(gl.COLOR_BUFFER_BIT | gl.DEPTH_BUFFER_BIT);
    this.drawBackground(view.background1, view.background2);
    if (!view.mesh) return;
    if (view.mesh !== this.mesh) this.upload(view.mesh);
    var p = this.meshProgram, m = view.rotation, bufs = this.buffers;
    gl.useProgram(p);
    gl.enable(gl.DEPTH_TEST);
    gl.depthFunc(gl.LEQUAL);
    if (view.faceCulling) gl.enable(gl.CULL_FACE); else gl.disable(gl.CULL_FACE);
    // GLSL matrices are column-major: pass the transpose of the row-major rotation.
    gl.uniformMatrix3fv(gl.getUniformLocation(p, 'uRotation'), false, [m[0], m[3], m[6], m[1], m[4], m[7], m[2], m[5], m[8]]);
    gl.uniform2f(gl.getUniformLocation(p, 'uScale'), 2 * view.scale / w, 2 * view.scale / h);
    gl.uniform2f(gl.getUniformLocation(p, 'uOrigin'), 2 * view.originX / w - 1, 1 - 2 * view.originY / h);
    gl.uniform1f(gl.getUniformLocation(p, 'uDepthScale'), 1 / (1.01 * view.depthRange));
    gl.uniform1f(gl.getUniformLocation(p, 'uPointSize'), 2);
    gl.uniform3f(gl.getUniformLocation(p, 'uColor'), view.color[0] / 255, view.color[1] / 255, view.color[2] / 255);
    var light = J.Math3.normalize([0.2, 0.5, 1.0]);
    gl.uniform3f(gl.getUniformLocation(p, 'uLight'), light[0], light[1], light[2]);
    var shaded = view.renderMode === 'smooth' || view.renderMode === 'flat';
    gl.uniform1f(gl.getUniformLocation(p, 'uShaded'), shaded ? 1 : 0);
    if (view.renderMode === 'wireframe') {
      bindAttribute(gl, p, 'aPosition', bufs.edges, 3);
      bindAttribute(gl, p, 'aNormal', bufs.edges, 3);
      gl.drawArrays(gl.LINES, 0, bufs.numEdgeEnds);
    } else if (view.renderMode === 'point') {
      bindAttribute(gl, p, 'aPosition', bufs.points, 3);
      bindAttribute(gl, p, 'aNormal', bufs.points, 3);
      gl.drawArrays(gl.POINTS, 0, bufs.numPoints);
    } else {
      bindAttribute(gl, p, 'aPosition', bufs.triangles, 3);
      bindAttribute(gl, p, 'aNormal', view.renderMode === 'flat' ? bufs.flatNormals : bufs.smoothNormals, 3);
      gl.drawArrays(gl.TRIANGLES, 0, bufs.numTriangleCorners);
    }
  };
})(JSC3D);
