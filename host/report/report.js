// What the page does beyond showing itself; without it, all of it can still be read.
"use strict";

(() => {
  const table = document.getElementById("rule-table");

  // Rules are sorted by a column and sought by text. Their rows stay in bodies of equal size, of which the browser lays out
  // those in sight.
  const bodies = [...table.tBodies];
  const rowsOfBody = bodies.length ? bodies[0].rows.length : 0;
  const rows = bodies.flatMap((body) => [...body.rows]);
  const headings = [...table.tHead.rows[0].cells];
  let order = rows.map((row, at) => at);
  let wanted = "";

  const numberOf = (text) => {
    const digits = /\d[\d,]*/.exec(text);
    return digits ? Number(digits[0].replaceAll(",", "")) : text.startsWith("beyond") ? Infinity : -1;
  };
  const keysOf = (column, kind) => {
    const texts = rows.map((row) => row.cells[column].textContent);
    return kind === "text" ? texts : kind === "number" ? texts.map(numberOf) : rows.map((row, at) => at);
  };
  const arrange = () => {
    const shown = order.filter((at) => rows[at].textContent.toLowerCase().includes(wanted));
    bodies.forEach((body, at) => {
      body.replaceChildren(...shown.slice(at * rowsOfBody, (at + 1) * rowsOfBody).map((row) => rows[row]));
    });
    return shown.length;
  };

  const sortBy = (heading) => {
    const kind = heading.dataset.sort;
    const was = heading.getAttribute("aria-sort");
    const ascending = was ? was === "descending" : kind !== "number";
    const keys = keysOf(headings.indexOf(heading), kind);
    const sign = ascending ? 1 : -1;
    order = rows.map((row, at) => at);
    order.sort((a, b) => (keys[a] < keys[b] ? -sign : keys[a] > keys[b] ? sign : a - b));
    headings.forEach((each) => each.removeAttribute("aria-sort"));
    heading.setAttribute("aria-sort", ascending ? "ascending" : "descending");
    arrange();
  };

  headings.filter((heading) => heading.dataset.sort).forEach((heading) => {
    const button = document.createElement("button");
    button.type = "button";
    button.append(...heading.childNodes);
    heading.append(button);
    button.addEventListener("click", () => sortBy(heading));
  });

  const search = document.createElement("input");
  const found = document.createElement("output");
  const label = document.createElement("label");
  search.type = "search";
  search.placeholder = "10.1.0.0, tcp, edge-in ...";
  label.className = "search";
  label.append("Rules with ", search, " ", found);
  search.addEventListener("input", () => {
    wanted = search.value.trim().toLowerCase();
    const shown = arrange();
    found.textContent = wanted ? `${shown.toLocaleString("en")} of ${rows.length.toLocaleString("en")}` : "";
  });
  if (rows.length > 1) table.before(label);

  // A link can ask for an order: "#sort-entries".
  const asked = headings.find((heading) => heading.id && `#${heading.id}` === location.hash);
  if (asked) asked.querySelector("button").click();

  // A piece of a field that is pointed at or tapped says what its row of the table says.
  document.querySelectorAll(".field").forEach((field) => {
    const hint = field.querySelector(".hint");
    const pieces = field.querySelector(".pieces tbody").rows;
    hint.textContent = "Point at a piece or tap it to see which rules ask for it.";
    const tell = (event) => {
      const piece = event.target.closest(".piece");
      if (!piece) return;
      const [values, name, , sets] = [...pieces[Number(piece.dataset.row)].cells].map((cell) => cell.textContent);
      field.querySelector(".piece.told")?.classList.remove("told");
      piece.classList.add("told");
      hint.textContent = `${values}: label ${name}; ${sets}`;
    };
    field.addEventListener("mouseover", tell);
    field.addEventListener("click", tell);
  });

  // Paper has nothing to click on.
  let closed = [];
  addEventListener("beforeprint", () => {
    closed = [...document.querySelectorAll("details:not([open])")];
    closed.forEach((details) => (details.open = true));
  });
  addEventListener("afterprint", () => closed.forEach((details) => (details.open = false)));
})();
