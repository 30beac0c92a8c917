/**
 * jsc3d.touch.js - touch input for JSC3D.Viewer: one finger rotates, two fingers pinch to zoom
 * and move together to translate. Installs itself as a viewer plug-in; include it after jsc3d.js.
 */
var JSC3D = JSC3D || {};

(function (J) {
  'use strict';

  // Midpoint and spread of the first two touches, or the position of a single one.
  function summarize(touches) {
    var a = touches[0];
    if (touches.length < 2) return {count: 1, x: a.clientX, y: a.clientY, spread: 0};
    var b = touches[1], dx = b.clientX - a.clientX, dy = b.clientY - a.clientY;
    return {count: 2, x: (a.clientX + b.clientX) / 2, y: (a.clientY + b.clientY) / 2, spread: Math.sqrt(dx * dx + dy * dy)};
  }

  /** Applies the change from one touch summary to the next to the viewer. */
  J.applyTouchMove = function (viewer, before, after) {
    if (before.count !== after.count) return;  // a finger was added or lifted: start anew
    if (after.count === 1) {
      viewer.rotate((after.x - before.x) * 0.5, (after.y - before.y) * 0.5);
    } else {
      if (before.spread > 0 && after.spread > 0) viewer.zoomBy(after.spread / before.spread);
      viewer.translate(after.x - before.x, after.y - before.y);
    }
  };

  function installTouch(viewer, canvas) {
    var last = null;
    function track(e) {
      last = e.touches.length ? summarize(e.touches) : null;
      e.preventDefault();
    }
    canvas.addEventListener('touchstart', track);
    canvas.addEventListener('touchend', track);
    canvas.addEventListener('touchcancel', track);
    canvas.addEventListener('touchmove', function (e) {
      if (!e.touches.length) return;
      var now = summarize(e.touches);
      if (last) J.applyTouchMove(viewer, last, now);
      last = now;
      e.preventDefault();
    });
  }

  if (J.Viewer) J.Viewer.plugins.push(installTouch);
})(JSC3D);
