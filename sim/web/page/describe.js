// Events in words, for the log, the time line and screen readers.

export function describe(event) {
  switch (event.kind) {
    case 'input':
      return `${event.label} became ${event.value}`;
    case 'output':
      return `${event.label} was driven ${event.value}${event.by === 'nobody' ? '' : ` by ${event.by}`}`;
    case 'sms-in':
      return `SMS from ${event.who}: ${event.text}`;
    case 'sms-out':
      return `the card's SMS to ${event.who}: ${event.text}`;
    case 'to-modem':
      return `> ${event.text}`;
    case 'from-modem':
      return `< ${event.text}`;
    default:
      return event.text;
  }
}

export const causeOf = (event) =>
  event.cause ? event.cause.text + (event.cause.rule === undefined ? '' : ` (rule ${event.cause.rule + 1})`) : '';
