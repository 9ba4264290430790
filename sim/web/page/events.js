// The server's events: connected as long as the page is open, again after every break.
import { takeNews, takeSnapshot } from './store.js';

const PAUSE = 1000; // ms before the next attempt
const SILENCE = 15000; // ms; the server says something every 5 s
const DRAW = 80; // ms between two updates of the page

let waiting = []; // batches that the page has not shown yet
let drawing = null;

function draw() {
  drawing = null;
  const batches = waiting;
  waiting = [];
  takeNews(batches);
}

/** @param show called with "connected" or "connecting" */
export function connect(show) {
  let source = null;
  let last = 0;

  function open() {
    source = new EventSource('events');
    last = Date.now();
    source.addEventListener('snapshot', (event) => {
      last = Date.now();
      waiting = [];
      show('connected');
      takeSnapshot(JSON.parse(event.data));
    });
    source.addEventListener('news', (event) => {
      last = Date.now();
      waiting.push(JSON.parse(event.data));
      drawing ??= setTimeout(draw, DRAW);
    });
    source.addEventListener('alive', () => (last = Date.now()));
    source.addEventListener('error', again);
  }
  function again() {
    if (!source) return;
    source.close();
    source = null;
    show('connecting');
    setTimeout(open, PAUSE);
  }
  setInterval(() => {
    if (source && Date.now() - last > SILENCE) again();
  }, PAUSE);
  open();
}
