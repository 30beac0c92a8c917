/**
 * jsc3d.ie.js - compatibility shims for old browsers (Internet Explorer 9/10 and early mobile
 * browsers). Include it before jsc3d.js. Every shim is installed only when the feature is missing.
 */
(function (global) {
  'use strict';

  // requestAnimationFrame: vendor-prefixed versions, else a 60 Hz timer.
  if (!global.requestAnimationFrame) {
    global.requestAnimationFrame = global.webkitRequestAnimationFrame || global.mozRequestAnimationFrame ||
      global.msRequestAnimationFrame || function (callback) {
        return global.setTimeout(function () { callback(new Date().getTime()); }, 16);
      };
    global.cancelAnimationFrame = global.webkitCancelAnimationFrame || global.mozCancelAnimationFrame ||
      global.msCancelAnimationFrame || function (id) { global.clearTimeout(id); };
  }

  // Typed arrays: plain zero-filled arrays stand in where the browser has none (no binary
  // loading then, but the software renderer's z-buffer works).
  function arrayType() {
    return function (lengthOrArray) {
      if (typeof lengthOrArray === 'number') {
        var a = new Array(lengthOrArray);
        for (var i = 0; i < lengthOrArray; i++) a[i] = 0;
        return a;
      }
      return Array.prototype.slice.call(lengthOrArray || []);
    };
  }
  var typedNames = ['Float32Array', 'Float64Array', 'Int32Array', 'Uint32Array', 'Uint16Array', 'Uint8Array'];
  for (var i = 0; i < typedNames.length; i++) {
    if (typeof global[typedNames[i]] === 'undefined') global[typedNames[i]] = arrayType();
  }

  // String.prototype.trim and Array.prototype.indexOf (IE8).
  if (!String.prototype.trim) {
    String.prototype.trim = function () { return this.replace(/^\s+|\s+$/g, ''); };
  }
  if (!Array.prototype.indexOf) {
    Array.prototype.indexOf = function (item) {
      for (var k = 0; k < this.length; k++) if (this[k] === item) return k;
      return -1;
    };
  }

  // addEventListener on top of IE8's attachEvent, for elements, the document and the window.
  function shimEvents(target) {
    if (!target || target.addEventListener || !target.attachEvent) return;
    target.addEventListener = function (type, listener) {
      var self = this;
      listener.__jsc3dWrapper = function () {
        var e = global.event;
        e.preventDefault = function () { e.returnValue = false; };
        e.stopPropagation = function () { e.cancelBubble = true; };
        e.target = e.srcElement;
        listener.call(self, e);
      };
      this.attachEvent('on' + type, listener.__jsc3dWrapper);
    };
    target.removeEventListener = function (type, listener) {
      if (listener.__jsc3dWrapper) this.detachEvent('on' + type, listener.__jsc3dWrapper);
    };
  }
  if (typeof global.Element !== 'undefined') shimEvents(global.Element.prototype);
  if (typeof global.document !== 'undefined') shimEvents(global.document);
  shimEvents(global);
})(typeof window !== 'undefined' ? window : this);
