/**
 * jsc3d.js - a compact 3D mesh viewer for web scenes written by Zarn2D.
 *
 * Usage:
 *   var viewer = new JSC3D.Viewer(document.getElementById('cv'));
 *   viewer.setParameter('SceneUrl', '3d.obj');
 *   viewer.init();
 *   viewer.update();
 *
 * Parameters (setParameter before init):
 *   SceneUrl           mesh to load; the file extension selects the loader (obj here, others by plug-ins)
 *   InitRotationX/Y/Z  initial rotation in degrees, applied about X, then Y, then Z
 *   ModelColor         '#RRGGBB' colour of the mesh
 *   BackgroundColor1/2 '#RRGGBB' top and bottom colours of the background gradient
 *   RenderMode         'smooth', 'flat', 'point' or 'wireframe' (anything else: 'smooth')
 *   FaceCulling        'on' hides faces turned away from the viewer, 'off' lights both sides
 *   ProgressBar        'on' shows the download progress, 'off' does not
 *   Renderer           'auto' (WebGL when jsc3d.webgl.js is loaded and WebGL works) or 'software'
 *
 * Interaction: drag to rotate, SHIFT+drag (or the wheel) to zoom, CTRL+drag to translate.
 * Rendering without WebGL: a z-buffered software rasteriser with Lambert (two-sided) shading,
 * Gouraud-interpolated in 'smooth' mode, one intensity per face in 'flat' mode.
 */
var JSC3D = JSC3D || {};

(function (J) {
  'use strict';

  J.version = '1.0';

  /** Log sink; jsc3d.console.js redirects it to an on-page console. */
  J.log = function (message) {
    if (typeof console !== 'undefined' && console.log) console.log('jsc3d: ' + message);
  };

  // ----- Small maths: 3x3 row-major rotation matrices and 3-vectors ---------------------------

  J.Math3 = {
    identity: function () { return [1, 0, 0, 0, 1, 0, 0, 0, 1]; },
    multiply: function (a, b) {
      var r = new Array(9);
      for (var i = 0; i < 3; i++) {
        for (var j = 0; j < 3; j++) {
          r[i * 3 + j] = a[i * 3] * b[j] + a[i * 3 + 1] * b[3 + j] + a[i * 3 + 2] * b[6 + j];
        }
      }
      return r;
    },
    rotation: function (axis, degrees) {
      var t = degrees * Math.PI / 180, c = Math.cos(t), s = Math.sin(t);
      if (axis === 'x') return [1, 0, 0, 0, c, -s, 0, s, c];
      if (axis === 'y') return [c, 0, s, 0, 1, 0, -s, 0, c];
      return [c, -s, 0, s, c, 0, 0, 0, 1];
    },
    normalize: function (v) {
      var len = Math.sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
      return len > 0 ? [v[0] / len, v[1] / len, v[2] / len] : [0, 0, 1];
    }
  };

  /** Parses '#RGB' or '#RRGGBB' into [r, g, b] in 0..255; anything else gives fallback. */
  J.parseColor = function (text, fallback) {
    var m = /^#?([0-9a-f]{3}|[0-9a-f]{6})$/i.exec(String(text).replace(/\s/g, ''));
    if (!m) return fallback;
    var h = m[1];
    if (h.length === 3) h = h.charAt(0) + h.charAt(0) + h.charAt(1) + h.charAt(1) + h.charAt(2) + h.charAt(2);
    return [parseInt(h.substr(0, 2), 16), parseInt(h.substr(2, 2), 16), parseInt(h.substr(4, 2), 16)];
  };

  // ----- Mesh ------------------------------------------------------------------------------------

  /** A triangle mesh: vertices [x0, y0, z0, x1, ...] and faces [a0, b0, c0, a1, ...] (0-based). */
  J.Mesh = function (vertices, faces) {
    this.vertexBuffer = vertices || [];
    this.indexBuffer = faces || [];
    this.faceNormals = [];
    this.vertexNormals = [];
    this.center = [0, 0, 0];
    this.radius = 0;
  };

  /** Drops faces with an out-of-range corner, then computes the bounding sphere and the normals. */
  J.Mesh.prototype.init = function () {
    var v = this.vertexBuffer, numVertices = Math.floor(v.length / 3), kept = [], i, k;
    for (i = 0; i + 2 < this.indexBuffer.length; i += 3) {
      var a = this.indexBuffer[i], b = this.indexBuffer[i + 1], c = this.indexBuffer[i + 2];
      if (a >= 0 && b >= 0 && c >= 0 && a < numVertices && b < numVertices && c < numVertices) kept.push(a, b, c);
    }
    this.indexBuffer = kept;
    var lo = [Infinity, Infinity, Infinity], hi = [-Infinity, -Infinity, -Infinity];
    for (i = 0; i < numVertices * 3; i += 3) {
      for (k = 0; k < 3; k++) {
        lo[k] = Math.min(lo[k], v[i + k]);
        hi[k] = Math.max(hi[k], v[i + k]);
      }
    }
    if (numVertices === 0) { lo = [0, 0, 0]; hi = [0, 0, 0]; }
    this.center = [(lo[0] + hi[0]) / 2, (lo[1] + hi[1]) / 2, (lo[2] + hi[2]) / 2];
    this.radius = 0;
    for (i = 0; i < numVertices * 3; i += 3) {
      var dx = v[i] - this.center[0], dy = v[i + 1] - this.center[1], dz = v[i + 2] - this.center[2];
      this.radius = Math.max(this.radius, Math.sqrt(dx * dx + dy * dy + dz * dz));
    }
    this.computeNormals(numVertices);
    return this;
  };

  /** Face normals (unit) and area-weighted vertex normals. */
  J.Mesh.prototype.computeNormals = function (numVertices) {
    var v = this.vertexBuffer, f = this.indexBuffer, sums = new Array(numVertices * 3), i, k;
    for (i = 0; i < sums.length; i++) sums[i] = 0;
    this.faceNormals = [];
    for (i = 0; i < f.length; i += 3) {
      var a = f[i] * 3, b = f[i + 1] * 3, c = f[i + 2] * 3;
      var ux = v[b] - v[a], uy = v[b + 1] - v[a + 1], uz = v[b + 2] - v[a + 2];
      var wx = v[c] - v[a], wy = v[c + 1] - v[a + 1], wz = v[c + 2] - v[a + 2];
      var n = [uy * wz - uz * wy, uz * wx - ux * wz, ux * wy - uy * wx];
      for (k = 0; k < 3; k++) {
        sums[a + k] += n[k];
        sums[b + k] += n[k];
        sums[c + k] += n[k];
      }
      var unit = J.Math3.normalize(n);
      this.faceNormals.push(unit[0], unit[1], unit[2]);
    }
    this.vertexNormals = [];
    for (i = 0; i < sums.length; i += 3) {
      var vn = J.Math3.normalize([sums[i], sums[i + 1], sums[i + 2]]);
      this.vertexNormals.push(vn[0], vn[1], vn[2]);
    }
  };

  // ----- Loading -----------------------------------------------------------------------------

  /**
   * Fetches url with XMLHttpRequest. binary: ArrayBuffer instead of text. onload(data),
   * onerror(message), onprogress(fraction) (optional).
   */
  J.fetch = function (url, binary, onload, onerror, onprogress) {
    var xhr = new XMLHttpRequest();
    xhr.open('GET', url, true);
    if (binary) xhr.responseType = 'arraybuffer';
    xhr.onreadystatechange = function () {
      if (xhr.readyState !== 4) return;
      // status 0: a file:// page; browsers that allow such requests report no HTTP status
      if (xhr.status === 200 || (xhr.status === 0 && (binary ? xhr.response : xhr.responseText))) {
        onload(binary ? xhr.response : xhr.responseText);
      } else {
        onerror('cannot load ' + url + ' (status ' + xhr.status + ')');
      }
    };
    if (onprogress) {
      xhr.onprogress = function (e) { if (e.lengthComputable && e.total > 0) onprogress(e.loaded / e.total); };
    }
    try {
      xhr.send();
    } catch (e) {
      onerror('cannot load ' + url + ': ' + e.message);
    }
  };

  /** Loaders by lower-case file extension; plug-in scripts register more. */
  J.LoaderSelector = {
    loaders: {},
    registerLoader: function (extension, loader) { this.loaders[extension.toLowerCase()] = loader; },
    getLoader: function (url) {
      var m = /\.([a-z0-9]+)$/i.exec(String(url).split(/[?#]/)[0]);
      return m ? this.loaders[m[1].toLowerCase()] || null : null;
    }
  };

  /**
   * Wavefront OBJ: 'v x y z' and 'f i j k ...' lines (polygons are fanned, 'i/t/n' forms and
   * negative, relative indices are accepted); everything else is ignored.
   */
  J.ObjLoader = {
    binary: false,
    parse: function (text) {
      var vertices = [], faces = [], lines = text.split(/\r?\n/);
      for (var i = 0; i < lines.length; i++) {
        var tokens = lines[i].trim().split(/\s+/);
        if (tokens[0] === 'v' && tokens.length >= 3) {
          vertices.push(parseFloat(tokens[1]), parseFloat(tokens[2]), tokens.length > 3 ? parseFloat(tokens[3]) : 0);
        } else if (tokens[0] === 'f' && tokens.length >= 4) {
          var corners = [], numVertices = vertices.length / 3;
          for (var k = 1; k < tokens.length; k++) {
            var index = parseInt(tokens[k].split('/')[0], 10);
            corners.push(index < 0 ? numVertices + index : index - 1);
          }
          for (k = 1; k + 1 < corners.length; k++) faces.push(corners[0], corners[k], corners[k + 1]);
        }
      }
      return new J.Mesh(vertices, faces).init();
    }
  };
  J.LoaderSelector.registerLoader('obj', J.ObjLoader);

  // ----- Software renderer (2D canvas) -------------------------------------------------------

  var AMBIENT = 0.3, DIFFUSE = 0.7, LIGHT = J.Math3.normalize([0.2, 0.5, 1.0]);

  /** Lambert intensity of a unit normal already in view space; two-sided unless culling. */
  J.shade = function (nx, ny, nz) {
    return AMBIENT + DIFFUSE * Math.abs(nx * LIGHT[0] + ny * LIGHT[1] + nz * LIGHT[2]);
  };

  J.SoftwareRenderer = function (canvas) {
    this.canvas = canvas;
    this.ctx = canvas.getContext('2d');
    this.zBuffer = null;
  };

  J.SoftwareRenderer.prototype.drawBackground = function (top, bottom) {
    var ctx = this.ctx, g = ctx.createLinearGradient(0, 0, 0, this.canvas.height);
    g.addColorStop(0, 'rgb(' + top.join(',') + ')');
    g.addColorStop(1, 'rgb(' + bottom.join(',') + ')');
    ctx.fillStyle = g;
    ctx.fillRect(0, 0, this.canvas.width, this.canvas.height);
  };

  J.SoftwareRenderer.prototype.drawMessage = function (text) {
    var ctx = this.ctx;
    ctx.fillStyle = '#c00000';
    ctx.font = '16px sans-serif';
    ctx.fillText(text, 20, 30);
  };

  J.SoftwareRenderer.prototype.drawProgress = function (fraction) {
    var ctx = this.ctx, w = this.canvas.width, h = this.canvas.height;
    ctx.fillStyle = 'rgba(0,0,0,0.35)';
    ctx.fillRect(w * 0.25, h - 30, w * 0.5, 10);
    ctx.fillStyle = '#f0f0f0';
    ctx.fillRect(w * 0.25, h - 30, w * 0.5 * Math.max(0, Math.min(1, fraction)), 10);
  };

  /** Draws the background and the mesh as the view (see Viewer.prototype.getView) says. */
  J.SoftwareRenderer.prototype.render = function (view) {
    this.drawBackground(view.background1, view.background2);
    if (!view.mesh) return;
    var screen = J.projectVertices(view);
    if (view.renderMode === 'point') {
      this.drawPoints(screen, view.color);
    } else if (view.renderMode === 'wireframe') {
      this.drawWireframe(screen, view);
    } else {
      var w = this.canvas.width, h = this.canvas.height, image = this.ctx.getImageData(0, 0, w, h);
      if (!this.zBuffer || this.zBuffer.length !== w * h) this.zBuffer = new Float32Array(w * h);
      for (var i = 0; i < this.zBuffer.length; i++) this.zBuffer[i] = -Infinity;
      J.rasterizeMesh({data: image.data, zBuffer: this.zBuffer, width: w, height: h}, screen, view);
      this.ctx.putImageData(image, 0, 0);
    }
  };

  J.SoftwareRenderer.prototype.drawPoints = function (screen, color) {
    var ctx = this.ctx;
    ctx.fillStyle = 'rgb(' + color.join(',') + ')';
    for (var i = 0; i < screen.length; i += 3) ctx.fillRect(screen[i] - 1.5, screen[i + 1] - 1.5, 3, 3);
  };

  /** Every edge once (keyed by its sorted corner pair), drawn as one path. */
  J.SoftwareRenderer.prototype.drawWireframe = function (screen, view) {
    var ctx = this.ctx, f = view.mesh.indexBuffer, seen = {};
    ctx.strokeStyle = 'rgb(' + view.color.join(',') + ')';
    ctx.lineWidth = 1;
    ctx.beginPath();
    for (var i = 0; i < f.length; i += 3) {
      if (view.faceCulling && J.isBackFacing(screen, f[i], f[i + 1], f[i + 2])) continue;
      for (var k = 0; k < 3; k++) {
        var a = f[i + k], b = f[i + (k + 1) % 3], key = a < b ? a + ',' + b : b + ',' + a;
        if (seen[key]) continue;
        seen[key] = true;
        ctx.moveTo(screen[a * 3], screen[a * 3 + 1]);
        ctx.lineTo(screen[b * 3], screen[b * 3 + 1]);
      }
    }
    ctx.stroke();
  };

  /** Screen positions [x, y, depth, ...]: rotate about the mesh centre, scale, translate; y down. */
  J.projectVertices = function (view) {
    var v = view.mesh.vertexBuffer, m = view.rotation, c = view.mesh.center, out = new Array(v.length);
    for (var i = 0; i < v.length; i += 3) {
      var x = v[i] - c[0], y = v[i + 1] - c[1], z = v[i + 2] - c[2];
      out[i] = view.originX + view.scale * (m[0] * x + m[1] * y + m[2] * z);
      out[i + 1] = view.originY - view.scale * (m[3] * x + m[4] * y + m[5] * z);
      out[i + 2] = m[6] * x + m[7] * y + m[8] * z;
    }
    return out;
  };

  /** Screen y points down, so a face shown counterclockwise has a negative signed area here. */
  J.isBackFacing = function (screen, a, b, c) {
    var ax = screen[a * 3], ay = screen[a * 3 + 1];
    return (screen[b * 3] - ax) * (screen[c * 3 + 1] - ay) - (screen[c * 3] - ax) * (screen[b * 3 + 1] - ay) > 0;
  };

  /** Rotated normal's intensities: per face (flat) or per vertex (smooth). */
  function intensities(normals, m) {
    var out = new Array(normals.length / 3);
    for (var i = 0; i < normals.length; i += 3) {
      var x = normals[i], y = normals[i + 1], z = normals[i + 2];
      out[i / 3] = J.shade(m[0] * x + m[1] * y + m[2] * z, m[3] * x + m[4] * y + m[5] * z, m[6] * x + m[7] * y + m[8] * z);
    }
    return out;
  }

  /**
   * Fills the faces into frame {data (RGBA bytes), zBuffer (larger = nearer), width, height}.
   * A pixel belongs to a face when its centre lies inside or on the face's edges.
   */
  J.rasterizeMesh = function (frame, screen, view) {
    var f = view.mesh.indexBuffer, smooth = view.renderMode !== 'flat';
    var light = intensities(smooth ? view.mesh.vertexNormals : view.mesh.faceNormals, view.rotation);
    for (var i = 0; i < f.length; i += 3) {
      var a = f[i], b = f[i + 1], c = f[i + 2];
      if (view.faceCulling && J.isBackFacing(screen, a, b, c)) continue;
      var la = smooth ? light[a] : light[i / 3], lb = smooth ? light[b] : la, lc = smooth ? light[c] : la;
      rasterizeTriangle(frame, screen, a * 3, b * 3, c * 3, la, lb, lc, view.color);
    }
  };

  function rasterizeTriangle(frame, s, a, b, c, la, lb, lc, color) {
    var area = (s[b] - s[a]) * (s[c + 1] - s[a + 1]) - (s[c] - s[a]) * (s[b + 1] - s[a + 1]);
    if (!(area !== 0)) return;  // degenerate or NaN
    var minX = Math.max(0, Math.floor(Math.min(s[a], s[b], s[c]))), maxX = Math.min(frame.width - 1, Math.ceil(Math.max(s[a], s[b], s[c])));
    var minY = Math.max(0, Math.floor(Math.min(s[a + 1], s[b + 1], s[c + 1]))), maxY = Math.min(frame.height - 1, Math.ceil(Math.max(s[a + 1], s[b + 1], s[c + 1])));
    var data = frame.data, z = frame.zBuffer;
    for (var y = minY; y <= maxY; y++) {
      var py = y + 0.5;
      for (var x = minX; x <= maxX; x++) {
        var px = x + 0.5;
        var wa = ((s[b] - px) * (s[c + 1] - py) - (s[c] - px) * (s[b + 1] - py)) / area;
        var wb = ((s[c] - px) * (s[a + 1] - py) - (s[a] - px) * (s[c + 1] - py)) / area;
        var wc = 1 - wa - wb;
        if (wa < 0 || wb < 0 || wc < 0) continue;
        var depth = wa * s[a + 2] + wb * s[b + 2] + wc * s[c + 2], p = y * frame.width + x;
        if (depth <= z[p]) continue;
        z[p] = depth;
        var intensity = wa * la + wb * lb + wc * lc;
        data[p * 4] = Math.min(255, color[0] * intensity);
        data[p * 4 + 1] = Math.min(255, color[1] * intensity);
        data[p * 4 + 2] = Math.min(255, color[2] * intensity);
        data[p * 4 + 3] = 255;
      }
    }
  }

  // ----- Viewer ------------------------------------------------------------------------------

  J.Viewer = function (canvas, parameters) {
    this.canvas = canvas;
    this.params = {
      SceneUrl: '', InitRotationX: '0', InitRotationY: '0', InitRotationZ: '0', ModelColor: '#CAA618',
      BackgroundColor1: '#FFFFFF', BackgroundColor2: '#383840', RenderMode: 'smooth', FaceCulling: 'on',
      ProgressBar: 'on', Renderer: 'auto'
    };
    for (var name in parameters) {
      if (Object.prototype.hasOwnProperty.call(parameters, name)) this.setParameter(name, parameters[name]);
    }
    this.mesh = null;
    this.renderer = null;
    this.message = '';
    this.progress = -1;
    this.pending = false;
    this.resetView();
  };

  /** Plug-ins (touch input, ...) called as plugin(viewer, canvas) during init. */
  J.Viewer.plugins = [];

  J.Viewer.prototype.setParameter = function (name, value) { this.params[name] = String(value); };

  J.Viewer.prototype.resetView = function () {
    var M = J.Math3, p = this.params;
    this.rotation = M.multiply(M.rotation('z', parseFloat(p.InitRotationZ) || 0),
      M.multiply(M.rotation('y', parseFloat(p.InitRotationY) || 0), M.rotation('x', parseFloat(p.InitRotationX) || 0)));
    this.zoom = 1;
    this.panX = 0;
    this.panY = 0;
  };

  /** Chooses the renderer, installs the input handlers and starts loading the scene. */
  J.Viewer.prototype.init = function () {
    this.resetView();
    this.setRenderMode(this.params.RenderMode);
    this.renderer = this.createRenderer();
    this.installMouse();
    for (var i = 0; i < J.Viewer.plugins.length; i++) J.Viewer.plugins[i](this, this.canvas);
    if (this.params.SceneUrl) this.loadScene(this.params.SceneUrl);
  };

  J.Viewer.prototype.createRenderer = function () {
    if (this.params.Renderer !== 'software' && J.WebGLRenderer) {
      var renderer = J.WebGLRenderer.create(this.canvas);
      if (renderer) return renderer;
    }
    return new J.SoftwareRenderer(this.canvas);
  };

  J.Viewer.prototype.loadScene = function (url) {
    var self = this, loader = J.LoaderSelector.getLoader(url);
    if (!loader) {
      this.fail('no loader for ' + url);
      return;
    }
    this.progress = 0;
    J.fetch(url, loader.binary, function (data) {
      self.progress = -1;
      try {
        self.mesh = loader.parse(data);
        self.message = self.mesh.indexBuffer.length ? '' : 'the scene holds no faces';
      } catch (e) {
        self.fail('cannot read ' + url + ': ' + e.message);
        return;
      }
      self.update();
    }, function (message) {
      self.fail(message);
    }, this.params.ProgressBar === 'on' ? function (fraction) {
      self.progress = fraction;
      self.update();
    } : null);
  };

  J.Viewer.prototype.fail = function (message) {
    this.progress = -1;
    this.message = message;
    J.log(message);
    this.update();
  };

  /** 'smooth', 'flat', 'point' or 'wireframe'; anything else selects 'smooth'. */
  J.Viewer.prototype.setRenderMode = function (mode) {
    this.renderMode = /^(smooth|flat|point|wireframe)$/.test(mode) ? mode : 'smooth';
  };

  /** Schedules one redraw (several calls before it happens draw once). */
  J.Viewer.prototype.update = function () {
    if (this.pending || !this.renderer) return;
    this.pending = true;
    var self = this, frame = typeof requestAnimationFrame === 'function' ? requestAnimationFrame : function (f) { setTimeout(f, 16); };
    frame(function () {
      self.pending = false;
      self.paint();
    });
  };

  J.Viewer.prototype.paint = function () {
    this.renderer.render(this.getView());
    if (this.message && this.renderer.drawMessage) this.renderer.drawMessage(this.message);
    if (this.progress >= 0 && this.renderer.drawProgress) this.renderer.drawProgress(this.progress);
  };

  /** Everything a renderer needs for one frame. */
  J.Viewer.prototype.getView = function () {
    var w = this.canvas.width, h = this.canvas.height, radius = this.mesh && this.mesh.radius > 0 ? this.mesh.radius : 1;
    return {
      mesh: this.mesh,
      rotation: this.rotation,
      scale: 0.45 * Math.min(w, h) / radius * this.zoom,
      originX: w / 2 + this.panX,
      originY: h / 2 + this.panY,
      depthRange: radius,
      color: J.parseColor(this.params.ModelColor, [202, 166, 24]),
      background1: J.parseColor(this.params.BackgroundColor1, [255, 255, 255]),
      background2: J.parseColor(this.params.BackgroundColor2, [56, 56, 64]),
      renderMode: this.renderMode,
      faceCulling: this.params.FaceCulling === 'on'
    };
  };

  /** Turns the model about the screen's vertical (dx) and horizontal (dy) axes, in degrees. */
  J.Viewer.prototype.rotate = function (dxDegrees, dyDegrees) {
    var M = J.Math3;
    this.rotation = M.multiply(M.multiply(M.rotation('y', dxDegrees), M.rotation('x', dyDegrees)), this.rotation);
    this.update();
  };

  J.Viewer.prototype.zoomBy = function (factor) {
    if (factor > 0 && isFinite(factor)) this.zoom = Math.max(0.01, Math.min(100, this.zoom * factor));
    this.update();
  };

  J.Viewer.prototype.translate = function (dx, dy) {
    this.panX += dx;
    this.panY += dy;
    this.update();
  };

  J.Viewer.prototype.installMouse = function () {
    var self = this, canvas = this.canvas, last = null;
    canvas.addEventListener('mousedown', function (e) {
      last = {x: e.clientX, y: e.clientY};
      e.preventDefault();
    });
    document.addEventListener('mouseup', function () { last = null; });
    document.addEventListener('mousemove', function (e) {
      if (!last) return;
      var dx = e.clientX - last.x, dy = e.clientY - last.y;
      last = {x: e.clientX, y: e.clientY};
      if (e.shiftKey) {
        self.zoomBy(Math.exp(-dy / 200));
      } else if (e.ctrlKey) {
        self.translate(dx, dy);
      } else {
        self.rotate(dx * 0.5, dy * 0.5);
      }
    });
    canvas.addEventListener('wheel', function (e) {
      self.zoomBy(e.deltaY < 0 ? 1.1 : 1 / 1.1);
      e.preventDefault();
    });
    canvas.addEventListener('contextmenu', function (e) { e.preventDefault(); });
  };
})(JSC3D);
