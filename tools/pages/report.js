"use strict";
(() => {
  const data = JSON.parse(document.getElementById("data").textContent);
  // A row that a link leads to opens.
  const openTarget = () => {
    const target = location.hash && document.getElementById(decodeURIComponent(location.hash.slice(1)));
    if (target && target.matches("details")) target.open = true;
  };
  addEventListener("hashchange", openTarget);
  openTarget();

  const sheet = document.getElementById("sheet");
  if (!sheet) return;
  const svg = sheet.querySelector("svg");
  const panel = document.getElementById("panel");
  const whole = svg.getAttribute("viewBox").split(" ").map(Number);
  let view = [...whole];
  let isDrawn = true;
  const show = next => {
    view = next;
    if (!isDrawn) return;
    isDrawn = false;
    requestAnimationFrame(() => {
      isDrawn = true;
      svg.setAttribute("viewBox", view.join(" "));
    });
  };
  // A place of the window on the paper, by the picture's own transformation.
  const onPaper = (x, y) => new DOMPoint(x, y).matrixTransform(svg.getScreenCTM().inverse());
  const zoom = (factor, at) => {
    const width = Math.min(whole[2] * 2, Math.max(whole[2] / 500, view[2] / factor));
    const scale = width / view[2];
    const [x, y] = at || [view[0] + view[2] / 2, view[1] + view[3] / 2];
    show([x - (x - view[0]) * scale, y - (y - view[1]) * scale, width, view[3] * scale]);
  };
  const move = (x, y) => show([view[0] + x * view[2], view[1] + y * view[3], view[2], view[3]]);

  document.getElementById("map-tools").hidden = false;
  sheet.tabIndex = 0;
  for (const button of document.querySelectorAll("[data-zoom]"))
    button.addEventListener("click", () => {
      if (button.dataset.zoom === "all") show([...whole]);
      else zoom(button.dataset.zoom === "in" ? 1.5 : 1 / 1.5);
    });
  for (const box of document.querySelectorAll("[data-shows]"))
    box.addEventListener("change", () => {
      for (const group of svg.querySelectorAll("[data-layer]"))
        if (group.dataset.layer === box.dataset.shows) group.style.display = box.checked ? "" : "none";
    });
  sheet.addEventListener("wheel", event => {
    if (!event.ctrlKey && document.activeElement !== sheet) return;  // else the page scrolls
    event.preventDefault();
    const { x, y } = onPaper(event.clientX, event.clientY);
    zoom(event.deltaY < 0 ? 1.2 : 1 / 1.2, [x, y]);
  }, { passive: false });

  // One finger or the mouse moves, two fingers zoom.
  const fingers = new Map();
  let moved = 0;
  sheet.addEventListener("pointerdown", event => {
    if (fingers.size === 0) moved = 0;
    fingers.set(event.pointerId, event);
  });
  sheet.addEventListener("pointermove", event => {
    const before = fingers.get(event.pointerId);
    if (!before) return;
    const [x, y] = [event.clientX - before.clientX, event.clientY - before.clientY];
    if (fingers.size === 1) {
      moved += Math.abs(x) + Math.abs(y);
      if (moved <= 6) return;  // a trembling hand
      if (!sheet.hasPointerCapture(event.pointerId)) sheet.setPointerCapture(event.pointerId);
      const box = svg.getBoundingClientRect();
      move(-x / box.width, -y / box.height);
    } else {
      const other = [...fingers.values()].find(one => one.pointerId !== event.pointerId);
      const distance = one => Math.hypot(one.clientX - other.clientX, one.clientY - other.clientY);
      const middle = onPaper((event.clientX + other.clientX) / 2, (event.clientY + other.clientY) / 2);
      if (distance(before) > 0) zoom(distance(event) / distance(before), [middle.x, middle.y]);
      moved = 100;
    }
    fingers.set(event.pointerId, event);
  });
  for (const kind of ["pointerup", "pointercancel"]) sheet.addEventListener(kind, event => fingers.delete(event.pointerId));

  // Features: one of them is in the order of the Tab key.
  const features = svg.getElementsByTagName("*");
  const isFeature = element => element.dataset && element.dataset.fid !== undefined;
  const layerOf = element => element.closest("[data-layer]").dataset.layer;
  const symbolOf = element => element.dataset.symbol ||
    (document.getElementById((element.getAttribute("href") || "").slice(1)) || element).dataset.symbol || "";
  const rows = new Map(data.rows.map(row => [row.layer + "\n" + row.fid, row]));
  const quoted = text => /^[\w./:=@%+-]+$/.test(text) ? text : "'" + text.replaceAll("'", "'\\''") + "'";
  let current = null;
  const focus = element => {
    if (current) current.tabIndex = -1;
    current = element;
    element.tabIndex = 0;
    element.setAttribute("role", "button");
    element.setAttribute("aria-label", `${layerOf(element)} fid ${element.dataset.fid}, ${symbolOf(element)}`);
    element.focus({ preventScroll: true });
  };
  const next = (element, step) => {
    let at = Array.prototype.indexOf.call(features, element);
    for (at += step; at >= 0 && at < features.length; at += step)
      if (isFeature(features[at]) && features[at].closest("[data-layer]").style.display !== "none") return features[at];
    return null;
  };
  const add = (parent, name, text) => {
    const element = parent.appendChild(document.createElement(name));
    if (text !== undefined) element.textContent = text;
    return element;
  };
  const explain = element => {
    for (const chosen of svg.querySelectorAll(".chosen")) chosen.classList.remove("chosen");
    element.classList.add("chosen");
    const [layer, fid] = [layerOf(element), element.dataset.fid];
    const row = rows.get(layer + "\n" + fid);
    panel.replaceChildren();
    panel.hidden = false;
    add(panel, "h3", `${layer} fid ${fid}`);
    add(panel, "p", `Symbol: ${symbolOf(element)}`);
    if (row) {
      add(panel, "pre", document.querySelector(`#${row.id} pre`).textContent).className = "explanation";
      const table = add(add(panel, "table"), "tbody");
      for (const [field, value] of row.values) {
        const line = add(table, "tr");
        add(line, "th", field).scope = "row";
        add(line, "td", value);
      }
    } else {
      add(panel, "p", "This row is not explained in the page. What explains it:");
      add(panel, "pre", [...data.command, layer, "--fid", fid].map(quoted).join(" ")).className = "command";
    }
    const close = add(panel, "button", "Close");
    close.type = "button";
    close.addEventListener("click", () => {
      panel.hidden = true;
      element.classList.remove("chosen");
      (current || sheet).focus({ preventScroll: true });
    });
  };
  sheet.addEventListener("click", event => {
    const feature = event.target.closest("[data-fid]");
    if (!feature || moved > 6) return;
    focus(feature);
    explain(feature);
  });
  sheet.addEventListener("keydown", event => {
    const steps = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] };
    const step = steps[event.key];
    const onFeature = isFeature(event.target);
    if (event.ctrlKey || event.metaKey || event.altKey) return;
    if (event.key === "+" || event.key === "=") zoom(1.5);
    else if (event.key === "-") zoom(1 / 1.5);
    else if (event.key === "0") show([...whole]);
    else if (event.key === "Escape" && onFeature) sheet.focus({ preventScroll: true });
    else if (step && onFeature) {
      const neighbour = next(event.target, step[0] + step[1]);
      if (neighbour) focus(neighbour);
    } else if (step) move(step[0] / 8, step[1] / 8);
    else if (event.key === "Enter" || event.key === " ") {
      if (onFeature) explain(event.target);
      else {
        const first = current || next(svg, 1);
        if (first) focus(first);
      }
    } else return;
    event.preventDefault();
  });
})();
