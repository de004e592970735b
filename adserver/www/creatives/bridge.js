/* What every house creative shares: the ad's identity, and messages to the
 * app through tsmsg: navigations. Messages leave one at a time, a few
 * milliseconds apart, because a navigation started before the previous one
 * reached the app would cancel it. */
var Velmora = (function () {
  "use strict";
  var ad = { base: "{{base}}", unit: "{{unit}}", rid: "{{rid}}", creative: "{{creative}}" };
  var queue = [];
  var pumping = false;
  var pressedAt = 0;

  function query(fields) {
    return Object.keys(fields).map(function (key) {
      return encodeURIComponent(key) + "=" + encodeURIComponent(fields[key]);
    }).join("&");
  }
  function pump() {
    pumping = queue.length > 0;
    if (!pumping) return;
    window.location.href = queue.shift();
    setTimeout(pump, 40);
  }
  function go(url) {
    queue.push(url);
    if (!pumping) pump();
  }
  function send(name, fields) {
    var q = query(fields || {});
    go("tsmsg:///" + name + (q ? "?" + q : ""));
  }
  function ids() {
    return query({ unit: ad.unit, creative: ad.creative, rid: ad.rid });
  }
  function trackURL(event) {
    return ad.base + "/track/" + event + "?" + ids();
  }
  function clickURL() {
    return ad.base + "/click/" + ad.creative + "?" + query({ unit: ad.unit, rid: ad.rid });
  }
  // A tap reports where and how long it was, pings the trackers, acts, and
  // notes it in the app's log. Nothing is sent before a tap: a bridge message
  // during the page's load would turn that load into a failed one.
  function onTap(element, action) {
    element.addEventListener("pointerdown", function () { pressedAt = Date.now(); });
    element.addEventListener("click", function (event) {
      event.preventDefault();
      send("touch", { tx: Math.round(event.clientX), ty: Math.round(event.clientY),
                      td: pressedAt ? Date.now() - pressedAt : 0 });
      send("click", { u: trackURL("click") });
      send("httpTrack", { u: trackURL("tap") });
      action();
      send("log", { string: "Velmora house ad " + ad.creative + " tapped" });
    });
  }
  return { ad: ad, send: send, go: go, trackURL: trackURL, clickURL: clickURL, onTap: onTap };
})();
