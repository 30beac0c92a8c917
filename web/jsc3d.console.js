/**
 * jsc3d.console.js - a small on-page log for pages without developer tools.
 *
 *   JSC3D.Console.attach(document.body);   // or any element; creates the log box in it
 *
 * Afterwards every JSC3D.log message and every uncaught script error appears in the box (at most
 * maxLines lines, oldest dropped), besides going to the browser console as before.
 */
var JSC3D = JSC3D || {};

(function (J) {
  'use strict';

  var forward = J.log;

  J.Console = {
    maxLines: 50,
    lines: [],
    box: null,

    attach: function (container) {
      if (this.box) return this.box;
      var box = document.createElement('pre');
      box.className = 'jsc3d-console';
      box.style.cssText = 'max-height:12em;overflow:auto;margin:6px 0;padding:4px 6px;font:12px monospace;' +
        'background:rgba(0,0,0,0.75);color:#e0e0e0;border-radius:4px;white-space:pre-wrap;';
      (container || document.body).appendChild(box);
      this.box = box;
      var self = this;
      window.addEventListener('error', function (e) { self.write('error: ' + e.message); });
      this.render();
      return box;
    },

    /** Adds one line (kept even before attach, so early messages are not lost). */
    write: function (message) {
      this.lines.push(new Date().toTimeString().substr(0, 8) + '  ' + message);
      if (this.lines.length > this.maxLines) this.lines.splice(0, this.lines.length - this.maxLines);
      this.render();
    },

    clear: function () {
      this.lines = [];
      this.render();
    },

    render: function () {
      if (!this.box) return;
      this.box.textContent = this.lines.join('\n');
      this.box.scrollTop = this.box.scrollHeight;
    }
  };

  J.log = function (message) {
    J.Console.write(message);
    if (forward) forward(message);
  };
})(JSC3D);
