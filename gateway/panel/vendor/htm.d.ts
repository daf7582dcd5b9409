export { default } from "htm";
