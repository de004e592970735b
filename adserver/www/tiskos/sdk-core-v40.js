/* Velmora house ad server: turns the library's ad request into an ad URL.
 * The library runs this script in a hidden page and calls
 * TISKOS_buildAdURL(params); the answer is a navigation to a tsmsg: URL. */
(function () {
  "use strict";

  var AD_BASE = "__AD_BASE__";
  var SERVED_UNITS = __SERVED_UNITS__;
  var UNIT_PATTERN = /^a[0-9a-f]{14}$/;

  function queryString(fields) {
    return Object.keys(fields).map(function (key) {
      var value = fields[key];
      // Nested values (extras, kw, ad_frame) travel as JSON text.
      var text = (value !== null && typeof value === "object") ? JSON.stringify(value) : String(value);
      return encodeURIComponent(key) + "=" + encodeURIComponent(text);
    }).join("&");
  }

  function answer(action, fields) {
    window.location.href = "tsmsg:///" + action + "?" + queryString(fields);
  }

  window.TISKOS_buildAdURL = function (params) {
    if (params === null || typeof params !== "object" || Array.isArray(params)) {
      answer("invalidRequest", { reason: "the ad request is not an object" });
      return;
    }
    var unit = params.slotname;
    if (typeof unit !== "string" || unit === "") {
      answer("invalidRequest", { reason: "no slotname" });
      return;
    }
    if (!UNIT_PATTERN.test(unit)) {
      answer("invalidRequest", { reason: "malformed slotname", slotname: unit });
      return;
    }
    if (SERVED_UNITS.indexOf(unit) < 0) {
      answer("unableToServe", { reason: "no house ads for this ad unit", slotname: unit });
      return;
    }
    var sent = {};
    Object.keys(params).forEach(function (key) {
      if (params[key] !== undefined) sent[key] = params[key];
    });
    answer("loadAdURL", { url: AD_BASE + "/ad?" + queryString(sent), type: "html" });
  };
})();
